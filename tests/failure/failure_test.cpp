#include "failure_test.h"

#include <boost/weak_ptr.hpp>

#include <algorithm>
#include <map>

namespace
{

constexpr std::chrono::milliseconds one_tick{500};
constexpr auto serving = "qz_thread_service_run_one_only";

/// Lets a fade that was just asked for tick once.
void let_tick(bool playing)
{
    const substitute::inside here;
    if (playing) {
        at_call(serving, [] { platform::advance(one_tick); });
    } else {
        platform::run_all();
        platform::advance(one_tick);
    }
}

void fade_up(const qz_audio_ptr& player, bool playing)
{
    qz_audio_set_volume(player, 50);
    qz_audio_volume_increment_timeout_start(player, 60);
    let_tick(playing);
}

void fade_down(const qz_audio_ptr& player, bool playing)
{
    qz_audio_volume_decrement_timeout_start(player, 90);
    let_tick(playing);
}

/// Asks for an end of the repetition. Twice, since the first may fail; and by a plan that holds nothing,
/// since it may never come.
void plan_last_time_around(const qz_audio_ptr& player)
{
    constexpr unsigned second_time_around = 8;
    const substitute::inside here;
    for (const unsigned occurrence : {second_time_around, second_time_around + 1}) {
        const auto end = [repeating = boost::weak_ptr<_qz_audio>(player)] {
            platform::as_caller([&] { qz_audio_set_repeat(repeating.lock(), false); });
        };
        at_call(serving, end, occurrence);
    }
}

void repeat(const qz_audio_ptr& player, bool playing)
{
    plan_last_time_around(player);
    qz_audio_set_repeat(player, true);
    if (!playing) {
        qz_audio_play(player);
    }
}

} // namespace

const std::vector<request>& requests()
{
    static const std::vector<request> all{
        {"qz_audio_open", [](const qz_audio_ptr& p, bool) { qz_audio_open(p); }},
        {"qz_audio_set_audio_track",
         [](const qz_audio_ptr& p, bool) { qz_audio_set_audio_track(p, "song"); }},
        {"qz_audio_play", [](const qz_audio_ptr& p, bool) { qz_audio_play(p); }},
        {"qz_audio_pause", [](const qz_audio_ptr& p, bool) { qz_audio_pause(p); }},
        {"qz_audio_stop", [](const qz_audio_ptr& p, bool) { qz_audio_stop(p, nullptr); }},
        {"qz_audio_set_volume", [](const qz_audio_ptr& p, bool) { qz_audio_set_volume(p, 70); }},
        {"fade_up", fade_up},
        {"fade_down", fade_down},
        {"repeat", repeat},
        {"qz_audio_destroy", [](const qz_audio_ptr& p, bool) { qz_audio_destroy(p, "main", 1); }},
    };
    return all;
}

std::string describe(const failing_call& failing)
{
    return failing.function + " gives " + std::to_string(failing.result) + " at call " +
           std::to_string(failing.occurrence);
}

const std::vector<long>& wrong_answers(const std::string& function)
{
    static const std::map<std::string, std::vector<long>> answers{
        {"mpg123_new", {MPG123_OUT_OF_MEM}},
        {"mpg123_param", {MPG123_ERR}},
        {"mpg123_open", {MPG123_ERR}},
        {"mpg123_getformat", {MPG123_ERR, MPG123_NEED_MORE}},
        {"mpg123_format_none", {MPG123_ERR}},
        {"mpg123_format", {MPG123_ERR}},
        {"mpg123_outblock", {0}},
        {"mpg123_read",
         {MPG123_ERR, MPG123_DONE, MPG123_NEED_MORE, MPG123_NEW_FORMAT, MPG123_OK, 12345}},
        {"mpg123_seek", {MPG123_ERR, 7}},
        {"mpg123_volume", {MPG123_ERR, 12345}},
        {"mpg123_close", {MPG123_ERR}},
        {"out123_new", {OUT123_DOOM}},
        {"out123_param", {OUT123_ERR}},
        {"out123_open", {OUT123_ERR, 12345}},
        {"out123_start", {OUT123_ERR, 12345}},
        {"out123_getformat", {OUT123_ERR}},
        {"out123_play", {0, 1}},
    };
    static const std::vector<long> none;
    const auto found = answers.find(function);
    return found == answers.end() ? none : found->second;
}

void plan_codes(bool codes)
{
    answer_always("mpg123_errcode", codes ? decoder_code : MPG123_OK);
    answer_always("out123_errcode", codes ? output_code : OUT123_OK);
}

void plan_texts(bool texts)
{
    if (!texts) {
        answer_always("mpg123_strerror", 0);
        answer_always("out123_strerror", 0);
    }
}

void FailureTest::SetUp()
{
    PlayerTest::SetUp();
    observe(player);
    player->property_list["audio_track"] = std::string("song");
    lost_decoders_ = 0;
    lost_outputs_ = 0;
    expect_lost_handles(0, 0);
    count_lost_handles();
}

/// An open of an opened player replaces handles that nobody releases. Nothing else may.
void FailureTest::count_lost_handles()
{
    const auto count = [this](const auto* replaced, std::size_t& lost) {
        if (replaced != nullptr && record().status != qz_audio_status_none) {
            ++lost;
            expect_lost_handles(lost_decoders_, lost_outputs_);
        }
    };
    substitute::at_every_call("mpg123_new", [this, count] { count(record().mh, lost_decoders_); });
    substitute::at_every_call("out123_new", [this, count] { count(record().ao, lost_outputs_); });
}

void FailureTest::start_over()
{
    PlayerTest::TearDown();
    reset_platform();
    FailureTest::SetUp();
}

lines FailureTest::make(const request& asked, qz_audio_status in, const std::function<void()>& plan)
{
    act_in(in, [&] {
        platform::run_all("system");
        take_events();
        forget();
        plan();
        asked.ask(player, in == qz_audio_status_playing);
    });
    const substitute::inside here;
    if (asked.name == "qz_audio_open" && in != qz_audio_status_none) {
        take_failed_checks(); // of what is open already
    }
    return take_events();
}

lines FailureTest::make(const request& asked, qz_audio_status in)
{
    return make(asked, in, [] {});
}

lines FailureTest::make(const request& asked, qz_audio_status in, const failing_call& failing,
                        failure_point& point)
{
    return make(asked, in, [&] {
        const auto note = [this, &point] {
            point = {true, record().status, record().repeat,
                     calls_to("qz_system_service_exec").size()};
        };
        at_call(failing.function, note, failing.occurrence);
        answer(failing.function, failing.result, failing.occurrence);
        plan_codes(true);
    });
}

std::vector<failing_call> FailureTest::possible_failures() const
{
    std::vector<failing_call> all;
    std::map<std::string, unsigned> occurrences;
    for (const auto& call : library_calls()) {
        const std::string function = call.substr(0, call.find('('));
        const unsigned occurrence = ++occurrences[function];
        for (const long wrong : wrong_answers(function)) {
            all.push_back({function, occurrence, wrong});
        }
    }
    return all;
}

void FailureTest::check_at_rest()
{
    EXPECT_EQ(status(), qz_audio_get_playback_status(player));
    EXPECT_FALSE(record().in_play);
    EXPECT_FALSE(platform::is_locked(*player));
    EXPECT_EQ(substitute::violations(), lines{});
}

void FailureTest::check_that_a_stop_is_answered()
{
    unsigned answers = 0;
    qz_audio_stop(player, [&answers](const qz_audio_ptr&) { ++answers; });
    platform::run_all();
    EXPECT_EQ(answers, 1U);
    EXPECT_NE(status(), qz_audio_status_playing);
    EXPECT_NE(status(), qz_audio_status_paused);
}

void FailureTest::check_that_a_track_plays()
{
    substitute::forget_plans();
    count_lost_handles();
    if (status() != qz_audio_status_none && (record().mh == nullptr || record().ao == nullptr)) {
        qz_audio_open(player); // only a failed second open leaves such a player
        platform::run_all();
        take_failed_checks();
    }
    observe(player);
    substitute::put_track("good", {{{MPG123_OK, "good"}, {MPG123_OK, "day!"}}});
    const auto played_before = substitute::played().size();
    qz_audio_set_repeat(player, false);
    qz_audio_set_audio_track(player, "good");
    qz_audio_play(player);
    platform::run_all();
    EXPECT_EQ(substitute::played().substr(played_before), "goodday!");
    const lines told = take_events();
    EXPECT_NE(std::find(told.begin(), told.end(), "status playing"), told.end());
    EXPECT_EQ(status(), qz_audio_status_stopped);
    EXPECT_EQ(record().error, 0);
}

std::string case_name(const request& asked, qz_audio_status in)
{
    return asked.name + "_in_" + status_name(in);
}
