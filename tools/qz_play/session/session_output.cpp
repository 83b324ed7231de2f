// How the session gets an output to play on, and leaves it.

#include "session/session.h"

#include "failures.h"
#include "output/output_modules.h"

#include <out123.h>

#include <utility>

/// The output is opened for its own sake only at first; a later player opens it with its track.
void session::provide_player(const track& next)
{
    if (!std::exchange(output_started_, true)) {
        start_output(next);
    } else if (!player_) {
        make_player();
    }
}

void session::make_player()
{
    player_.emplace(events_);
    player_->set_repeat(repeats());
}

/// It may never end, and is not waited for. What it has told before does not concern the next one.
void session::leave_blocked_player()
{
    output_trouble_ += 2;
    player_->forget();
    player_.reset();
    take_waiting_events();
    status_ = qz_audio_status_none;
}

/// Only now, with something to play: a wrong name is told on a machine without sound, too.
void session::start_output(const track& next)
{
    choose_output_modules(options_, folder_);
    if (options_.wav) {
        wav_.emplace();
    }
    if (options_.bin_path) {
        qz_audio_set_bin_path(*options_.bin_path);
    }
    make_player();
    player_->open();
    const bool opens = wait_patiently_until(
        [this] { return status_ == qz_audio_status_opened || open_error_ || leaving_; });
    if (!opens) {
        leave_blocked_player();
        throw track_failure(next.path + output_hangs);
    }
    if (open_error_) {
        throw startup_failure(std::string("the sound output cannot be opened (") +
                              out123_plain_strerror(*open_error_) +
                              "); use --wav FILE to write the sound into a file.");
    }
}

void session::finish_output()
{
    player_.reset();
    wait_patiently_until([this] { return status_ == qz_audio_status_none; });
}
