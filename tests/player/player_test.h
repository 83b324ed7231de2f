/// \file
/// \brief What the tests of the player share: a player on the substitutes, what it did, and the check
/// that nothing is left of it.
#pragma once

#include "call_log.h"
#include "mpg123_substitute.h"
#include "out123_substitute.h"
#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_system_substitute.h"
#include "statuses.h"
#include "virtual_clock.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <streambuf>
#include <string>
#include <vector>

namespace platform = substitute::platform;

using substitute::answer;
using substitute::answer_always;
using substitute::at_call;

/// Texts in order. A line that is expected to be there twice stands there twice.
using lines = std::vector<std::string>;

/// One after the other.
lines in_sequence(const std::vector<lines>& parts);

constexpr auto warning_banner = "\033[1;35mQZ-SYSTEM**WARNING**\033[0;0m: ";
constexpr auto error_banner = "\033[1;31mQZ-SYSTEM**ERROR**\033[0;0m: ";

/// `name` as diagnostic lines set it off.
std::string magenta(const std::string& name);

/// Standard output (`std::cout`) while this lives: each insertion, and whether a flush followed it.
class output_capture : private std::streambuf
{
public:
    output_capture();
    ~output_capture() override;

    /// The lines since the last call. One that was not a single insertion of a whole line with a flush
    /// after it bears a remark.
    lines take();

private:
    struct insertion {
        std::string text;
        bool flushed;
    };

    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::streambuf* const before_;
    std::vector<insertion> insertions_;
};

/// A check that was reported to the platform.
struct check {
    bool passed;
    std::string expression;
    std::string message;

    friend bool operator==(const check& a, const check& b)
    {
        return a.passed == b.passed && a.expression == b.expression && a.message == b.message;
    }
};
std::ostream& operator<<(std::ostream& out, const check& shown);

/// The same check when it fails.
check failed(check passed);

/// Freshly reset substitutes. At the end nothing may be left: no object, thread, hold or handle, no
/// unexpected line, failed check, violation or exception, and every source position is real.
class PlatformTest : public testing::Test
{
protected:
    PlatformTest();
    void TearDown() override;

    /// Starts anew with what a test starts with. To be called after the check of what is left.
    void reset_platform();

    /// Forgets what was done so far, as far as the functions below tell.
    void forget();

    /// What was done since then: each call as `function(arguments)`; a check as `check MESSAGE` or
    /// `check failed MESSAGE`. The reads behind the checks are left out.
    [[nodiscard]] lines steps() const;

    /// The same, each with its thread before it: `audio: mpg123_new(null)`.
    [[nodiscard]] lines steps_with_threads() const;

    /// The calls themselves.
    [[nodiscard]] std::vector<substitute::call> calls_since() const;

    /// The calls of functions whose names begin so.
    [[nodiscard]] lines calls_to(const std::string& prefix) const;

    /// The calls of libmpg123 and libout123.
    [[nodiscard]] lines library_calls() const;

    /// The reports of checks with this message.
    [[nodiscard]] std::vector<check> checks(const std::string& message) const;

    /// The failed checks so far; they are expected, then.
    std::vector<check> take_failed_checks();

    /// The lines on standard output so far; they are expected, then.
    lines take_output() { return output_.take(); }

    /// The exceptions that tasks threw; they are expected, then.
    lines take_escaped_exceptions();

    /// So many decoders and outputs will never be released.
    void expect_lost_handles(std::size_t decoders, std::size_t outputs);

private:
    output_capture output_;
    std::size_t seen_calls_ = 0;
    std::size_t seen_failures_ = 0;
    std::size_t seen_exceptions_ = 0;
    std::size_t lost_decoders_ = 0;
    std::size_t lost_outputs_ = 0;
};

/// Tests with one player, at whose path "song" lies a track of three blocks.
class PlayerTest : public PlatformTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    /// Registers callbacks that put down what they are told: "status playing", "error 22",
    /// "volume 70". Each checks that it runs on the system service, without a lock, for `of`.
    void observe(const qz_audio_ptr& of);

    /// What the callbacks were told since the last call.
    lines take_events();

    /// Destroys the player, drops the handle and runs all.
    void end_player();

    /// Brings the player to a status other than playing.
    void bring_to(qz_audio_status wanted);

    /// Runs `calls` as the application while the player has a status, then all that waits. While
    /// playing, that is after the first block.
    void act_in(qz_audio_status wanted, const std::function<void()>& calls);

    /// Plans `calls` for the next time that a play loop serves its tasks.
    static void when_served(const std::function<void()>& calls, unsigned occurrence = 1);

    /// Has a play loop find the player paused when it serves its tasks. At the end of a repeating track the
    /// loop then goes on, and a play among the tasks enters again inside it. No request leads there, since
    /// a pause is refused at the end of a track.
    void pause_when_served(unsigned occurrence);

    /// Loads "song" and plays it; `calls` are made while it plays.
    void play_with(const std::function<void()>& calls);

    _audio_data& record() { return *property<_audio_data*>("audio_data"); }

    template <typename T>
    T property(const std::string& name)
    {
        return boost::any_cast<T>(player->property_list.at(name));
    }

    /// The engine's status; fails when the property is another.
    qz_audio_status status();

    qz_audio_ptr player;

private:
    lines events_;
};

/// A property that is missing, or of a type of its own, while this lives.
class broken_property
{
public:
    enum class how { missing, mistyped };

    broken_property(qz_audio_ptr player, const std::string& name, how broken = how::missing);
    ~broken_property() { repair(); }
    broken_property(const broken_property&) = delete;
    broken_property& operator=(const broken_property&) = delete;

    void repair();

private:
    qz_audio_ptr player_;
    std::string name_;
    boost::any value_;
};

/// Foreign code for a callback to capture: when the last copy goes, it counts that in `ends` and calls
/// the player, which therefore may hold no lock then.
std::shared_ptr<void> capture_that_calls_back(const qz_audio_ptr& player, unsigned& ends);

/// The functions that take a handle, for what holds for each of them.
struct exported_function {
    std::string name;
    std::function<void(qz_audio_ptr)> call; ///< With harmless arguments.
    bool posts;                             ///< Whether its work runs on the player's thread.

    friend void PrintTo(const exported_function& shown, std::ostream* out) { *out << shown.name; }
};
const std::vector<exported_function>& functions_of_a_handle();

/// All 23: these and the three without a handle.
const std::vector<exported_function>& all_functions();
