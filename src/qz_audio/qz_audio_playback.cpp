#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_diagnostics.h"
#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_notifications.h"
#include "qz_audio/qz_audio_playout.h"
#include "qz_audio/qz_audio_task.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace
{

/// Returns how long the record's block plays.
duration block_length(const _audio_data& adata)
{
    const double bytes_per_second =
        static_cast<double>(adata.framesize) * static_cast<double>(adata.rate);
    const std::chrono::duration<double> length(
        bytes_per_second > 0 ? static_cast<double>(adata.done) / bytes_per_second : 0);
    return std::chrono::duration_cast<duration>(length);
}

void note_rewind(_audio_data& adata)
{
    if (adata.decoder == decoder_state::refused_format) {
        adata.decoder = decoder_state::rewound_after_refusal;
    }
}

/// How a run of the play task has ended.
struct outcome {
    int code;
    bool stop; ///< The track is still playing and has to be stopped.
};

/// One run of the play task. A task that its loop serves between two blocks may be another run: then this one
/// leaves.
class play_loop
{
public:
    explicit play_loop(_qz_audio* player)
        : player_(player), adata_(get_audio_data(player)), generation_(++player->play_generation)
    {
        adata_->in_play = true;
    }
    ~play_loop() { adata_->in_play = false; }
    play_loop(const play_loop&) = delete;
    play_loop& operator=(const play_loop&) = delete;

    outcome play();

private:
    enum class action { read, finish, leave };

    outcome run();
    int open_and_load();
    int restart_output();
    int reopen_if_needed();
    void report_and_release();
    void prepare_block();
    void apply_volume();
    action decode();
    int read_block();
    void report_failed_read(int result);
    void report_playing();
    bool serve_tasks();
    action decide();
    action rewind();
    outcome finish();
    void wait_until_played();

    [[nodiscard]] bool has_status(qz_audio_status status) const { return adata_->status == status; }
    [[nodiscard]] bool is_superseded() const { return player_->play_generation != generation_; }

    _qz_audio* const player_;
    _audio_data* const adata_;
    const unsigned long generation_;
    playout_estimator playout_;
};

outcome play_loop::play()
{
    try {
        return run();
    } catch (...) {
        // Nothing decodes any more, and in the status playing the next play would do nothing.
        if (!player_->closed && has_status(qz_audio_status_playing)) {
            do_stop(player_);
        }
        throw;
    }
}

outcome play_loop::run()
{
    if (const int error = open_and_load(); error != 0) {
        return {error, false};
    }
    if (const int error = restart_output(); error != 0) {
        return {error, false};
    }
    if (!has_status(qz_audio_status_loaded) && !has_status(qz_audio_status_paused)) {
        return {0, false};
    }
    prepare_block();
    apply_volume();
    // Leaving keeps the block: the next run frees it, or the destructor.
    return decode() == action::finish ? finish() : outcome{0, false};
}

int play_loop::open_and_load()
{
    if (!has_status(qz_audio_status_none)) {
        return 0;
    }
    if (const int error = do_open(player_); error != 0) {
        return error;
    }
    return has_status(qz_audio_status_opened) ? do_set_audio_track(player_) : 0;
}

int play_loop::restart_output()
{
    if (!has_status(qz_audio_status_loaded) && !has_status(qz_audio_status_stopped)) {
        return 0;
    }
    if (const int error = reopen_if_needed(); error != 0) {
        call_on_error(handle_of(player_), error);
        return error;
    }
    if (start_output(*adata_) != 0) {
        adata_->error = out123_errcode(adata_->ao);
        adata_->status = qz_audio_status_none;
        report_and_release();
        return adata_->error;
    }
    if (has_status(qz_audio_status_stopped)) {
        adata_->status = qz_audio_status_loaded;
        change_status(handle_of(player_), qz_audio_status_loaded);
    }
    return 0;
}

int play_loop::reopen_if_needed()
{
    return adata_->decoder == decoder_state::rewound_after_refusal ? reopen_track(player_) : 0;
}

/// Releases the handles also if a report throws: the status is none already.
void play_loop::report_and_release()
{
    try {
        change_status(handle_of(player_), qz_audio_status_none);
        call_on_error(handle_of(player_), adata_->error);
    } catch (...) {
        release_handles(adata_->mh, adata_->ao);
        throw;
    }
    release_handles(adata_->mh, adata_->ao);
}

void play_loop::prepare_block()
{
    std::free(std::exchange(adata_->buffer, nullptr));
    adata_->buffer_size = mpg123_outblock(adata_->mh);
    adata_->buffer = static_cast<unsigned char*>(std::malloc(adata_->buffer_size));
}

void play_loop::apply_volume()
{
    // Deliberate: the result at volume 0 is not stored.
    if (adata_->volume != 0) {
        adata_->error = mpg123_volume(adata_->mh, adata_->volume / 100.0);
    } else {
        mpg123_volume(adata_->mh, 0.0);
    }
    if (adata_->error != 0) {
        const char* const text = mpg123_strerror(adata_->mh);
        write_diagnostic("volume error: " + std::to_string(adata_->error) + " " +
                         (text != nullptr ? text : ""));
    }
}

play_loop::action play_loop::decode()
{
    bool first = true;
    for (;;) {
        const int result = read_block();
        if (result != MPG123_OK && result != MPG123_DONE && result != MPG123_NEED_MORE) {
            report_failed_read(result);
            return is_superseded() ? action::leave : action::finish;
        }
        if (std::exchange(first, false)) {
            report_playing();
        }
        if (!serve_tasks()) {
            return action::leave;
        }
        if (const action next = decide(); next != action::read) {
            return next;
        }
    }
}

int play_loop::read_block()
{
    const int result = mpg123_read(adata_->mh, adata_->buffer, adata_->buffer_size, &adata_->done);
    adata_->error = result;
    const time_point start = clock_now();
    out123_play(adata_->ao, adata_->buffer, adata_->done);
    if (const duration length = block_length(*adata_); length > duration::zero()) {
        playout_.add_write(start, clock_now(), length);
    }
    return result;
}

void play_loop::report_failed_read(int result)
{
    adata_->last_report_was_refusal = false;
    run_finally([&] { call_on_error(handle_of(player_), result); },
                [&] {
                    if (result == MPG123_ERR && adata_->last_report_was_refusal) {
                        adata_->decoder = decoder_state::refused_format;
                    }
                });
}

void play_loop::report_playing()
{
    adata_->status = qz_audio_status_playing;
    change_status(handle_of(player_), qz_audio_status_playing);
}

/// Runs the tasks that wait for the player's thread. Returns whether this run goes on.
bool play_loop::serve_tasks()
{
    int ran = 0;
    do {
        ran = qz_thread_service_run_one_only(player_->thread_service);
        if (player_->closed) {
            return false; // the handles and the status are no longer this thread's
        }
    } while (ran >= 1 && has_status(qz_audio_status_playing));
    return !is_superseded();
}

play_loop::action play_loop::decide()
{
    if (adata_->done != 0 && adata_->error == 0) {
        return has_status(qz_audio_status_playing) ? action::read : action::finish;
    }
    if (adata_->error != MPG123_DONE || !adata_->repeat) {
        return action::finish;
    }
    if (has_status(qz_audio_status_playing)) {
        return rewind();
    }
    // Paused or stopped at the end: each read returns the end again, until a task changes the status.
    const bool held = has_status(qz_audio_status_paused) || has_status(qz_audio_status_stopped);
    return held ? action::read : action::finish;
}

play_loop::action play_loop::rewind()
{
    adata_->error = static_cast<int>(mpg123_seek(adata_->mh, 0, SEEK_SET));
    if (is_superseded()) {
        return action::leave;
    }
    if (adata_->error != 0) {
        return action::finish;
    }
    note_rewind(*adata_);
    return reopen_if_needed() == 0 ? action::read : action::finish;
}

outcome play_loop::finish()
{
    std::free(std::exchange(adata_->buffer, nullptr));
    if (adata_->error != 0 && adata_->error != MPG123_DONE) {
        call_on_error(handle_of(player_), adata_->error);
    }
    if (!has_status(qz_audio_status_playing)) {
        return {0, false};
    }
    if (adata_->error == MPG123_DONE && !adata_->repeat) {
        wait_until_played();
    }
    return {0, true};
}

/// Called before the stop at a track's end, which drops what the device still buffers. A posted stop, new track or
/// destroy ends the wait.
void play_loop::wait_until_played()
{
    constexpr duration poll_interval = std::chrono::milliseconds(5);
    const time_point end = playout_.expected_end();
    for (time_point now = clock_now(); now < end && player_->pending_halts <= 0;
         now = clock_now()) {
        clock_sleep(std::min(end - now, poll_interval));
    }
}

/// Drops what the device buffers and goes back to the track's start.
void drop_and_rewind(_audio_data& adata)
{
    out123_drop(adata.ao);
    out123_stop(adata.ao);
    // A failed second open leaves no decoder, and mpg123_seek without one crashes.
    if (adata.mh != nullptr) {
        mpg123_seek(adata.mh, 0, SEEK_SET);
        note_rewind(adata);
    }
}

} // namespace

int do_play(_qz_audio* player)
{
    const outcome ended = play_loop(player).play();
    return ended.stop ? do_stop(player) : ended.code;
}

int do_pause(_qz_audio* player)
{
    _audio_data* const adata = get_audio_data(player);
    if (adata->status != qz_audio_status_playing) {
        return 0;
    }
    if (adata->error != 0) {
        return 1;
    }
    QZ_AUDIO_CHECK("ao data is null", adata->ao != nullptr);
    out123_pause(adata->ao);
    adata->status = qz_audio_status_paused;
    change_status(handle_of(player), qz_audio_status_paused);
    return 0;
}

int do_stop(_qz_audio* player)
{
    _audio_data* const adata = get_audio_data(player);
    switch (adata->status) {
    case qz_audio_status_none:
    case qz_audio_status_opened:
    case qz_audio_status_loaded:
    case qz_audio_status_stopped:
        return 0;
    case qz_audio_status_playing:
        if (adata->ao != nullptr && adata->mh != nullptr) {
            drop_and_rewind(*adata);
        }
        break;
    case qz_audio_status_paused:
        if (adata->error != 0 && adata->error != MPG123_DONE) {
            drop_and_rewind(*adata);
        }
        break;
    }
    adata->error = 0;
    adata->status = qz_audio_status_stopped;
    change_status(handle_of(player), qz_audio_status_stopped);
    return 0;
}
