#include "failure_test.h"

#include <optional>
#include <tuple>

// Each request in each status, with each call of a library that it leads to failing in turn, in each way
// that the call can.

namespace
{

/// What the application is told of a call that failed, instead of all that it would have been told from there
/// on; none where it is told what it would have been told anyhow.
using told_instead = std::optional<lines>;

std::string error(long code)
{
    return "error " + std::to_string(code);
}

/// A request that a play loop serves has failed: the loop tells of it too, and then stops.
lines told_and_told_by_the_loop(bool playing, long code)
{
    return playing ? lines{error(code), error(code), "status stopped"} : lines{error(code)};
}

lines told_of_read(bool first, long result)
{
    const lines until = first ? lines{"status playing"} : lines{};
    switch (result) {
    case MPG123_OK: // and nothing read
    case MPG123_DONE:
        return in_sequence({until, {"status stopped"}});
    case MPG123_NEED_MORE:
        return in_sequence({until, {error(result), "status stopped"}});
    default:
        return first ? lines{error(result), error(result)}
                     : lines{error(result), error(result), "status stopped"};
    }
}

/// Where a call came to fail, and in which request.
struct failure {
    std::string request;
    std::string function;
    long result;
    qz_audio_status status; ///< The engine's, at the call.
    bool repeats;           ///< Whether the track was to be repeated, at the call.
};

told_instead told_of(const failure& of)
{
    const bool playing = of.status == qz_audio_status_playing;
    const bool plays = of.request == "qz_audio_play" || of.request == "repeat";
    if (of.function == "mpg123_new" || of.function == "out123_new") {
        return told_and_told_by_the_loop(playing, MPG123_OUT_OF_MEM);
    }
    if (of.function == "out123_open") {
        return told_and_told_by_the_loop(playing, output_code);
    }
    if (of.function == "mpg123_open") {
        return playing ? lines{"status opened", error(decoder_code)} : lines{error(decoder_code)};
    }
    if (of.function == "mpg123_getformat") {
        const lines told{"status none", error(decoder_code)};
        return playing ? in_sequence({told, {error(decoder_code)}}) : told;
    }
    if (of.function == "out123_start" || of.function == "out123_getformat") {
        const bool loads = !plays || of.status == qz_audio_status_opened;
        return lines{"status none", error(loads ? 0 : output_code)};
    }
    if (of.function == "mpg123_volume" && !plays) {
        return told_and_told_by_the_loop(playing, of.result);
    }
    if (of.function == "mpg123_outblock") {
        return lines{"status playing", "status stopped"};
    }
    if (of.function == "mpg123_read") {
        return told_of_read(!playing, of.result);
    }
    if (of.function == "mpg123_seek" && of.repeats) {
        return lines{error(of.result), "status stopped"};
    }
    return std::nullopt;
}

/// The volume is set up for a play without a report, but for a line.
lines printed_of(const failure& of, bool texts)
{
    const std::string text = texts ? "decoder error 0" : "";
    const bool prints = of.function == "mpg123_volume" && of.status != qz_audio_status_playing &&
                        (of.request == "qz_audio_play" || of.request == "repeat");
    return prints ? lines{"volume error: " + std::to_string(of.result) + " " + text} : lines{};
}

} // namespace

class OneCallTest : public FailureTest,
                    public testing::WithParamInterface<std::tuple<request, qz_audio_status>>
{
protected:
    [[nodiscard]] static const request& asked() { return std::get<0>(GetParam()); }
    [[nodiscard]] static qz_audio_status in() { return std::get<1>(GetParam()); }

    /// `good` is what is told if nothing fails.
    void fail(const failing_call& failing, const lines& good)
    {
        failure_point point;
        const lines told = make(asked(), in(), failing, point);
        ASSERT_TRUE(point.reached);
        const failure of{asked().name, failing.function, failing.result, point.status,
                         point.repeats};
        lines expected = good;
        if (const auto instead = told_of(of)) {
            expected.resize(point.told);
            expected = in_sequence({expected, *instead});
        }
        EXPECT_EQ(told, expected);
        EXPECT_TRUE(texts_ || property<std::string>("error_str").empty());
        EXPECT_EQ(take_output(), printed_of(of, texts_));
    }

    void fail_each_call()
    {
        const lines good = make(asked(), in());
        const auto failures = possible_failures();
        RecordProperty("failures", std::to_string(failures.size()));
        for (const auto& failing : failures) {
            SCOPED_TRACE(describe(failing));
            start_over();
            plan_texts(texts_);
            fail(failing, good);
            if (asked().name != "qz_audio_destroy") {
                check_at_rest();
                check_that_a_track_plays();
            }
        }
    }

    bool texts_ = true;
};

TEST_P(OneCallTest, FailsAndIsToldAsItShould)
{
    fail_each_call();
}

TEST_P(OneCallTest, FailsAndIsToldAsItShouldWithoutATextForIt)
{
    texts_ = false;
    fail_each_call();
}

INSTANTIATE_TEST_SUITE_P(Of, OneCallTest,
                         testing::Combine(testing::ValuesIn(requests()),
                                          testing::ValuesIn(all_statuses())),
                         [](const auto& row) {
                             return case_name(std::get<0>(row.param), std::get<1>(row.param));
                         });
