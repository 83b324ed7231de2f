#include "player_test.h"

#include <algorithm>
#include <fstream>
#include <iostream>
#include <map>
#include <utility>

namespace
{

constexpr auto check_function = "qz_assertion_faild";

/// Takes a check apart that the log holds as `true, "expression", "message"`.
check to_check(const substitute::call& reported)
{
    const std::string& text = reported.arguments;
    const auto expression = text.find('"') + 1;
    const auto message = text.rfind(", \"") + 3;
    return {text.rfind("true", 0) == 0, text.substr(expression, message - 4 - expression),
            text.substr(message, text.size() - 1 - message)};
}

std::string as_step(const substitute::call& made)
{
    if (made.function != check_function) {
        return made.text();
    }
    const check reported = to_check(made);
    return (reported.passed ? "check " : "check failed ") + reported.message;
}

bool starts_with(const std::string& text, const std::string& start)
{
    return text.rfind(start, 0) == 0;
}

const lines& source_of(const std::string& file)
{
    static std::map<std::string, lines> sources;
    auto& source = sources[file];
    if (source.empty()) {
        std::ifstream in(QZ_SOURCE_DIR "/" + file);
        for (std::string line; std::getline(in, line);) {
            source.push_back(line);
        }
    }
    return source;
}

/// The lines of a file from one number to another, as one text; none where the file has none.
std::string source_lines(const std::string& file, int first, int last)
{
    const lines& source = source_of(file);
    std::string text;
    for (int number = std::max(first, 1); number <= last; ++number) {
        if (static_cast<std::size_t>(number) <= source.size()) {
            text += source[static_cast<std::size_t>(number) - 1] + '\n';
        }
    }
    return text;
}

/// Whether the position that was handed over is that of a source line which hands one over; for a check,
/// of the check with this message.
bool has_real_position(const substitute::call& made)
{
    const auto stands_in = [](const std::string& source, const std::string& text) {
        return source.find(text) != std::string::npos;
    };
    if (!starts_with(made.file, "src/qz_audio/qz_audio")) {
        return false;
    }
    if (made.function != check_function) {
        return stands_in(source_lines(made.file, made.line, made.line), "__LINE__");
    }
    // Where the check spans some lines, compilers take its first or its last.
    const std::string source = source_lines(made.file, made.line - 3, made.line + 3);
    return stands_in(source, "QZ_AUDIO_CHECK") &&
           stands_in(source, '"' + to_check(made).message + '"');
}

void check_positions()
{
    std::map<std::string, bool> seen;
    for (const auto& each : substitute::calls()) {
        const std::string place =
            each.file + ":" + std::to_string(each.line) + ": " + as_step(each);
        if (!each.file.empty() && seen.emplace(place, true).second) {
            EXPECT_TRUE(has_real_position(each)) << place;
        }
    }
}

} // namespace

lines in_sequence(const std::vector<lines>& parts)
{
    lines all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

std::string magenta(const std::string& name)
{
    return "\033[0;35m" + name + "\033[0;0m";
}

output_capture::output_capture() : before_(std::cout.rdbuf(this)) {}

output_capture::~output_capture()
{
    std::cout.rdbuf(before_);
}

lines output_capture::take()
{
    lines taken;
    for (auto& each : std::exchange(insertions_, {})) {
        const bool is_line = std::count(each.text.begin(), each.text.end(), '\n') == 1 &&
                             each.text.back() == '\n' && each.flushed;
        if (is_line) {
            each.text.pop_back();
        }
        taken.push_back(is_line ? each.text : each.text + "<not one flushed line>");
    }
    return taken;
}

std::streamsize output_capture::xsputn(const char* text, std::streamsize size)
{
    const substitute::inside here;
    insertions_.push_back({std::string(text, static_cast<std::size_t>(size)), false});
    return size;
}

output_capture::int_type output_capture::overflow(int_type character)
{
    const substitute::inside here;
    insertions_.push_back({std::string(1, traits_type::to_char_type(character)), false});
    return character;
}

int output_capture::sync()
{
    if (!insertions_.empty()) {
        insertions_.back().flushed = true;
    }
    return 0;
}

std::ostream& operator<<(std::ostream& out, const check& shown)
{
    return out << (shown.passed ? "passed " : "failed ") << shown.expression << " \""
               << shown.message << '"';
}

check failed(check passed)
{
    passed.passed = false;
    return passed;
}

PlatformTest::PlatformTest()
{
    reset_platform();
}

void PlatformTest::reset_platform()
{
    seen_calls_ = 0;
    seen_failures_ = 0;
    seen_exceptions_ = 0;
    platform::reset();
    substitute::reset_calls();
    substitute::reset_decoders();
    substitute::reset_outputs();
    substitute::at_every_sleep(nullptr);
    qz_audio_set_bin_path("./bin/");
}

void PlatformTest::TearDown()
{
    platform::run_all();
    EXPECT_EQ(platform::objects(), 0U);
    EXPECT_EQ(platform::threads(), 0U);
    EXPECT_EQ(platform::registry_holds(), 0U);
    EXPECT_EQ(platform::live_count("[qz_audio]"), 0);
    EXPECT_EQ(substitute::decoders_alive(), lost_decoders_);
    EXPECT_EQ(substitute::outputs_alive(), lost_outputs_);
    EXPECT_EQ(take_failed_checks(), std::vector<check>{});
    EXPECT_EQ(take_output(), lines{});
    EXPECT_EQ(take_escaped_exceptions(), lines{});
    EXPECT_EQ(substitute::violations(), lines{});
    check_positions();
}

void PlatformTest::forget()
{
    seen_calls_ = substitute::calls().size();
}

std::vector<substitute::call> PlatformTest::calls_since() const
{
    auto made = substitute::calls();
    made.erase(made.begin(), made.begin() + static_cast<std::ptrdiff_t>(seen_calls_));
    made.erase(std::remove_if(made.begin(), made.end(),
                              [](const auto& each) { return each.function == "qz_property_get"; }),
               made.end());
    return made;
}

lines PlatformTest::steps() const
{
    lines texts;
    for (const auto& each : calls_since()) {
        texts.push_back(as_step(each));
    }
    return texts;
}

lines PlatformTest::steps_with_threads() const
{
    lines texts;
    for (const auto& each : calls_since()) {
        texts.push_back(each.thread + ": " + as_step(each));
    }
    return texts;
}

lines PlatformTest::calls_to(const std::string& prefix) const
{
    lines texts;
    for (const auto& each : calls_since()) {
        if (starts_with(each.function, prefix)) {
            texts.push_back(each.text());
        }
    }
    return texts;
}

lines PlatformTest::library_calls() const
{
    lines texts;
    for (const auto& each : calls_since()) {
        if (starts_with(each.function, "mpg123_") || starts_with(each.function, "out123_")) {
            texts.push_back(each.text());
        }
    }
    return texts;
}

std::vector<check> PlatformTest::checks(const std::string& message) const
{
    std::vector<check> found;
    for (const auto& each : calls_since()) {
        if (each.function == check_function && to_check(each).message == message) {
            found.push_back(to_check(each));
        }
    }
    return found;
}

std::vector<check> PlatformTest::take_failed_checks()
{
    std::vector<check> failed;
    for (const auto& each : substitute::calls()) {
        if (each.function == check_function && !to_check(each).passed) {
            failed.push_back(to_check(each));
        }
    }
    failed.erase(failed.begin(), failed.begin() + static_cast<std::ptrdiff_t>(seen_failures_));
    seen_failures_ += failed.size();
    return failed;
}

lines PlatformTest::take_escaped_exceptions()
{
    auto texts = platform::escaped_exceptions();
    texts.erase(texts.begin(), texts.begin() + static_cast<std::ptrdiff_t>(seen_exceptions_));
    seen_exceptions_ += texts.size();
    return texts;
}

void PlatformTest::expect_lost_handles(std::size_t decoders, std::size_t outputs)
{
    lost_decoders_ = decoders;
    lost_outputs_ = outputs;
}

void PlayerTest::SetUp()
{
    substitute::put_track("song",
                          {{{MPG123_OK, "aaaa"}, {MPG123_OK, "bbbb"}, {MPG123_OK, "cccc"}}});
    player = qz_audio_new();
    forget();
}

void PlayerTest::TearDown()
{
    end_player();
    PlatformTest::TearDown();
}

void PlayerTest::observe(const qz_audio_ptr& of)
{
    const auto told = [this, of = of.get()](const qz_audio_ptr& by, const std::string& event) {
        const substitute::inside here;
        EXPECT_EQ(by.get(), of);
        EXPECT_EQ(platform::current_thread(), "system");
        EXPECT_FALSE(platform::is_locked(*by));
        events_.push_back(event);
    };
    qz_audio_on_status_change(of, [told](qz_audio_ptr by, qz_audio_status status) {
        told(by, "status " + status_name(status));
    });
    qz_audio_on_error(
        of, [told](qz_audio_ptr by, int code) { told(by, "error " + std::to_string(code)); });
    qz_audio_on_volume_change(
        of, [told](qz_audio_ptr by, int volume) { told(by, "volume " + std::to_string(volume)); });
    forget();
}

lines PlayerTest::take_events()
{
    return std::exchange(events_, {});
}

void PlayerTest::end_player()
{
    if (player && !property<bool>("object-destroyed")) {
        qz_audio_destroy(player, "end_player", 0);
    }
    player.reset();
    platform::run_all();
}

void PlayerTest::bring_to(qz_audio_status wanted)
{
    switch (wanted) {
    case qz_audio_status_none:
        break;
    case qz_audio_status_opened:
        qz_audio_open(player);
        break;
    case qz_audio_status_loaded:
        qz_audio_set_audio_track(player, "song");
        break;
    case qz_audio_status_paused:
        play_with([this] { qz_audio_pause(player); });
        break;
    case qz_audio_status_stopped:
        play_with([this] { qz_audio_stop(player, nullptr); });
        break;
    case qz_audio_status_playing:
        FAIL() << "a player is playing only while its play task runs";
    }
    platform::run_all();
    ASSERT_EQ(status(), wanted);
}

void PlayerTest::act_in(qz_audio_status wanted, const std::function<void()>& calls)
{
    if (wanted == qz_audio_status_playing) {
        play_with([this, calls] {
            EXPECT_EQ(status(), qz_audio_status_playing);
            forget();
            calls();
        });
    } else {
        bring_to(wanted);
        forget();
        calls();
    }
    platform::run_all();
}

void PlayerTest::when_served(const std::function<void()>& calls, unsigned occurrence)
{
    at_call(
        "qz_thread_service_run_one_only", [calls] { platform::as_caller(calls); }, occurrence);
}

void PlayerTest::pause_when_served(unsigned occurrence)
{
    when_served(
        [this] {
            record().status = qz_audio_status_paused;
            player->property_list["status"] = qz_audio_status_paused;
        },
        occurrence);
}

void PlayerTest::play_with(const std::function<void()>& calls)
{
    bring_to(qz_audio_status_loaded);
    when_served(calls);
    qz_audio_play(player);
    platform::run_all();
}

qz_audio_status PlayerTest::status()
{
    EXPECT_EQ(property<qz_audio_status>("status"), record().status);
    return record().status;
}

broken_property::broken_property(qz_audio_ptr player, const std::string& name, how broken)
    : player_(std::move(player)), name_(name)
{
    struct other_type {
    };
    value_.swap(player_->property_list.at(name));
    player_->property_list.erase(name);
    if (broken == how::mistyped) {
        player_->property_list[name] = other_type{};
    }
}

void broken_property::repair()
{
    if (player_) {
        player_->property_list[name_] = value_;
        player_.reset();
    }
}

std::shared_ptr<void> capture_that_calls_back(const qz_audio_ptr& player, unsigned& ends)
{
    // Not the handle: the player would own itself through its callback.
    const auto at_end = [object = player.get(), &ends](void*) {
        ++ends;
        ASSERT_FALSE(platform::is_locked(*object));
        qz_audio_on_error(boost::static_pointer_cast<_qz_audio>(object->shared_from_this()),
                          nullptr);
    };
    return {&ends, at_end};
}

const std::vector<exported_function>& functions_of_a_handle()
{
    static const std::vector<exported_function> functions{
        {"qz_audio_destroy", [](qz_audio_ptr p) { qz_audio_destroy(p, "main", 1); }, true},
        {"qz_audio_open", [](qz_audio_ptr p) { qz_audio_open(p); }, true},
        {"qz_audio_set_audio_track", [](qz_audio_ptr p) { qz_audio_set_audio_track(p, "song"); },
         true},
        {"qz_audio_play", [](qz_audio_ptr p) { qz_audio_play(p); }, true},
        {"qz_audio_pause", [](qz_audio_ptr p) { qz_audio_pause(p); }, true},
        {"qz_audio_stop", [](qz_audio_ptr p) { qz_audio_stop(p, [](qz_audio_ptr) {}); }, true},
        {"qz_audio_set_volume", [](qz_audio_ptr p) { qz_audio_set_volume(p, 70); }, true},
        {"qz_audio_volume_increment_timeout_start",
         [](qz_audio_ptr p) { qz_audio_volume_increment_timeout_start(p, 90); }, true},
        {"qz_audio_volume_decrement_timeout_start",
         [](qz_audio_ptr p) { qz_audio_volume_decrement_timeout_start(p, 40); }, true},
        {"qz_audio_set_repeat", [](qz_audio_ptr p) { qz_audio_set_repeat(p, false); }, true},
        {"qz_audio_get_playback_status", [](qz_audio_ptr p) { qz_audio_get_playback_status(p); },
         false},
        {"qz_audio_get_current_track", [](qz_audio_ptr p) { qz_audio_get_current_track(p); },
         false},
        {"qz_audio_get_last_error_string",
         [](qz_audio_ptr p) {
             std::string text = "text";
             qz_audio_get_last_error_string(p, text);
         },
         false},
        {"qz_audio_on_status_change",
         [](qz_audio_ptr p) { qz_audio_on_status_change(p, [](qz_audio_ptr, qz_audio_status) {}); },
         false},
        {"qz_audio_on_error",
         [](qz_audio_ptr p) { qz_audio_on_error(p, [](qz_audio_ptr, int) {}); }, false},
        {"qz_audio_on_volume_change",
         [](qz_audio_ptr p) { qz_audio_on_volume_change(p, [](qz_audio_ptr, int) {}); }, false},
        {"qz_audio_set_audio_volume_increment_step",
         [](qz_audio_ptr p) { qz_audio_set_audio_volume_increment_step(p, 5); }, false},
        {"qz_audio_set_audio_volume_decrement_step",
         [](qz_audio_ptr p) { qz_audio_set_audio_volume_decrement_step(p, 5); }, false},
        {"qz_audio_set_audio_volume_increment_timeout",
         [](qz_audio_ptr p) { qz_audio_set_audio_volume_increment_timeout(p, 5); }, false},
        {"qz_audio_set_audio_volume_decrement_timeout",
         [](qz_audio_ptr p) { qz_audio_set_audio_volume_decrement_timeout(p, 5); }, false},
    };
    return functions;
}

const std::vector<exported_function>& all_functions()
{
    static const std::vector<exported_function> functions = [] {
        auto all = functions_of_a_handle();
        all.push_back({"qz_audio_new",
                       [](qz_audio_ptr) { qz_audio_destroy(qz_audio_new(), "main", 1); }, false});
        all.push_back({"qz_audio_set_bin_path",
                       [](qz_audio_ptr) { qz_audio_set_bin_path("./modules/"); }, false});
        all.push_back(
            {"qz_audio_get_bin_path", [](qz_audio_ptr) { qz_audio_get_bin_path(); }, false});
        return all;
    }();
    return functions;
}
