/// \file
/// \brief What the tests of failing neighbours share: requests made in each status, calls of the libraries
/// that fail, and the proof that the player still works afterwards.
#pragma once

#include "player_test.h"

/// Something that an application asks of a player.
struct request {
    std::string name;
    /// Asks for it. While a track plays, this is called between two blocks.
    std::function<void(qz_audio_ptr, bool playing)> ask;

    friend void PrintTo(const request& shown, std::ostream* out) { *out << shown.name; }
};

/// All whose work calls a library.
const std::vector<request>& requests();

/// One call of a library that does not give what it should.
struct failing_call {
    std::string function;
    unsigned occurrence; ///< Counted from the request on.
    long result;         ///< As `substitute::answer` takes it.
};

/// So that a failing case says which it was.
std::string describe(const failing_call& failing);

/// The answers other than the good one that each function can give. Those of the libraries' functions that
/// are not here tell nothing.
const std::vector<long>& wrong_answers(const std::string& function);

/// The codes that the libraries give for what has failed.
constexpr int decoder_code = MPG123_BAD_DECODER_SETUP;
constexpr int output_code = OUT123_DEV_OPEN;

/// From now on the libraries have a code for what has failed, or none, and a text, or none.
void plan_codes(bool codes);
void plan_texts(bool texts);

/// Tests with a player that is watched and knows the track "song".
class FailureTest : public PlayerTest
{
protected:
    /// Where a call came to fail.
    struct failure_point {
        bool reached = false;
        qz_audio_status status = qz_audio_status_none; ///< The engine's.
        bool repeats = false;
        std::size_t told =
            0; ///< How much the application has been told, or is about to be, since the request.
    };

    void SetUp() override;

    /// Ends the player as at the end of a test, checks the same, and starts anew.
    void start_over();

    /// Makes the request in a status, with all that follows from it. Returns what is told.
    lines make(const request& asked, qz_audio_status in);

    /// The same, with a call that fails.
    lines make(const request& asked, qz_audio_status in, const failing_call& failing,
               failure_point& point);

    /// The calls of the libraries since the request, each in every way in which it can fail.
    [[nodiscard]] std::vector<failing_call> possible_failures() const;

    /// Whether nothing runs and the two statuses agree.
    void check_at_rest();

    /// Whether a stop is answered.
    void check_that_a_stop_is_answered();

    /// Whether a good track plays on a good output.
    void check_that_a_track_plays();

private:
    lines make(const request& asked, qz_audio_status in, const std::function<void()>& plan);
    void count_lost_handles();

    std::size_t lost_decoders_ = 0;
    std::size_t lost_outputs_ = 0;
};

/// A name for a request in a status.
std::string case_name(const request& asked, qz_audio_status in);
