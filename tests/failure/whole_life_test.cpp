#include "failure_test.h"
#include "process.h"

#include <algorithm>
#include <tuple>

// A player's whole life with each call of a library failing in turn, once or from then on: whatever the
// application is told, the player stays whole.

namespace
{

/// How the libraries fail.
struct manner {
    const char* name;
    bool for_good; ///< All later calls of the same function fail too.
    bool codes;    ///< The libraries have a code for it.
    bool texts;    ///< The libraries have a text for it.

    friend void PrintTo(const manner& shown, std::ostream* out) { *out << shown.name; }
};

const std::vector<manner> manners{
    {"Once", false, true, true},
    {"OnceWithoutACode", false, false, true},
    {"OnceWithoutAText", false, true, false},
    {"ForGood", true, true, true},
    {"ForGoodWithoutACode", true, false, true},
    {"ForGoodWithoutAText", true, true, false},
};

} // namespace

class WholeLifeTest : public FailureTest, public testing::WithParamInterface<manner>
{
protected:
    void fail(const failing_call& failing)
    {
        plan_codes(GetParam().codes);
        plan_texts(GetParam().texts);
        answer(failing.function, failing.result, failing.occurrence);
        if (GetParam().for_good) {
            const auto fail_on = [failing] { answer_always(failing.function, failing.result); };
            at_call(failing.function, fail_on, failing.occurrence);
        }
    }

    void live()
    {
        qz_audio_open(player);
        qz_audio_set_volume(player, 70);
        qz_audio_set_audio_track(player, "song");
        play([this] { qz_audio_pause(player); });
        play([this] { stop(); });
        play([this] { qz_audio_set_audio_track(player, "song"); });
        play([this] { ask("fade_down"); });
        play([this] { ask("fade_up"); });
        play([this] { ask("repeat"); });
        play([this] { qz_audio_play(player); });
        qz_audio_pause(player);
        stop();
        qz_audio_set_volume(player, 0);
        play([this] { qz_audio_set_audio_track(player, "nowhere"); });
        qz_audio_set_audio_track(player, "song");
        play([this] { qz_audio_open(player); });
        qz_audio_set_audio_track(player, "song");
        play([this] { qz_audio_pause(player); });
        qz_audio_open(player);
        stop();
        platform::run_all();
    }

    /// Lines of volumes that cannot be set up, and checks of opens that find something open, are expected.
    void forgive()
    {
        take_output();
        take_failed_checks();
    }

    /// Whether each stop was answered.
    void check_stops() { EXPECT_EQ(stops_answered_, stops_asked_); }

private:
    void play(const std::function<void()>& meanwhile)
    {
        when_served(meanwhile);
        qz_audio_play(player);
        platform::run_all();
    }

    void stop()
    {
        ++stops_asked_;
        qz_audio_stop(player, [this](const qz_audio_ptr&) { ++stops_answered_; });
    }

    void ask(const std::string& name)
    {
        const auto asked = std::find_if(requests().begin(), requests().end(),
                                        [&](const request& each) { return each.name == name; });
        asked->ask(player, true);
    }

    unsigned stops_asked_ = 0;
    unsigned stops_answered_ = 0;
};

TEST_P(WholeLifeTest, SurvivesEachFailingCall)
{
    live();
    forgive();
    const auto failures = possible_failures();
    const std::size_t stride = is_slowed_down() ? 5 : 1;
    RecordProperty("failures", std::to_string(failures.size() / stride));
    for (std::size_t number = 0; number < failures.size(); number += stride) {
        const auto& failing = failures[number];
        SCOPED_TRACE(describe(failing));
        start_over();
        fail(failing);
        live();
        forgive();
        check_at_rest();
        check_stops();
        check_that_a_track_plays();
        take_output();
    }
}

INSTANTIATE_TEST_SUITE_P(In, WholeLifeTest, testing::ValuesIn(manners),
                         [](const auto& tested) { return tested.param.name; });
