/// \file
/// \brief The whole run of the program: every track in its turn.
#pragma once

#include "display.h"
#include "events.h"
#include "options.h"
#include "player.h"
#include "temp_folder.h"
#include "track_run.h"
#include "wav_output.h"

#include <functional>
#include <memory>
#include <optional>

/// Works in one thread: takes events, drives the player, draws.
class session
{
public:
    session(const options& chosen, const temp_folder& folder, std::shared_ptr<event_queue> events,
            display& screen);

    /// Plays the tracks and returns the exit status. Throws `startup_failure`.
    int run();

private:
    void play_track(std::size_t index);
    [[nodiscard]] bool needs_size_at_once() const;
    void start_output();
    void finish_output();
    void play(const track& next, std::size_t index);
    [[nodiscard]] std::string problem_of_run() const;
    [[nodiscard]] int result() const;

    void wait_until(const std::function<bool()>& reached);
    void take_waiting_events();
    bool take_event(event_queue::clock::time_point deadline);
    [[nodiscard]] event_queue::clock::time_point next_duty() const;
    void draw();
    [[nodiscard]] std::string live_line() const;

    void on(const status_changed& change);
    void on(const error_reported& error);
    void on(const volume_changed& change);
    void on(const stop_completed& completion);
    void on(const end_requested& request);

    const options& options_;
    const temp_folder& folder_;
    std::shared_ptr<event_queue> events_;
    display& display_;

    std::optional<wav_output> wav_;
    std::optional<player> player_;
    std::optional<track_run> run_;

    qz_audio_status status_ = qz_audio_status_none;
    int volume_;
    std::optional<int> open_error_;
    bool end_requested_ = false;
    bool heard_ = false;
    std::size_t failed_ = 0;
};
