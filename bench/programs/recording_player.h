/// \file
/// \brief A player that records its status, so that a program can wait for one.
#pragma once

#include "qz_audio/qz_audio.h"

#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>

/// Makes a player and destroys it. The requests themselves are the caller's.
class recording_player
{
public:
    /// `on_status`, if given, is called with each status, by the library's thread for callbacks.
    explicit recording_player(std::function<void(qz_audio_status)> on_status = nullptr)
    {
        qz_audio_on_status_change(player_, [this, on_status](qz_audio_ptr, qz_audio_status status) {
            if (on_status) {
                on_status(status);
            }
            record(status);
        });
        qz_audio_on_error(player_, [](qz_audio_ptr, int code) {
            std::fprintf(stderr, "cannot play: %d\n", code);
            std::_Exit(2);
        });
    }
    ~recording_player()
    {
        qz_audio_destroy(player_, __FILE__, __LINE__);
        wait_for(qz_audio_status_none);
    }
    recording_player(const recording_player&) = delete;
    recording_player& operator=(const recording_player&) = delete;

    [[nodiscard]] qz_audio_ptr get() const { return player_; }

    /// Waits until `status` is the last one reported.
    void wait_for(qz_audio_status status)
    {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this, status] { return status_ == status; });
    }

private:
    void record(qz_audio_status status)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        status_ = status;
        changed_.notify_one();
    }

    qz_audio_ptr player_ = qz_audio_new();
    std::mutex mutex_;
    std::condition_variable changed_;
    qz_audio_status status_ = qz_audio_status_none;
};
