/// \file
/// \brief Detects an output that hangs, or that takes sound faster than it can be heard.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

/// Asks its user to send pings while the player plays. A ping is a request that changes nothing; the player answers
/// it between two blocks. If no answer comes, the output is blocked. If many answers in a row come immediately,
/// the output takes the sound without playing it.
///
/// It has no timer: the caller passes the time.
class output_watchdog
{
public:
    using clock = std::chrono::steady_clock;

    /// Between two pings, and at most between two calls of `check`.
    static constexpr std::chrono::seconds period{5};
    static constexpr std::chrono::seconds timeout{10};

    /// So many answers take a second; an output fills a newly opened buffer faster than that.
    static constexpr int max_immediate_answers = 250;

    enum class verdict { fine, ping, hangs };

    /// Call this when the player answers a ping or reports anything else.
    void on_answer(clock::time_point now)
    {
        if (awaits_answer_) {
            const int change = now - pinged_ <= immediate_limit ? 1 : -2;
            immediate_answers_ = std::max(immediate_answers_ + change, 0);
        }
        awaits_answer_ = false;
        waiting_since_.reset();
    }

    /// Call this when a ping that may have got lost is sent again.
    void on_resend(clock::time_point now) { pinged_ = awaits_answer_ ? now : pinged_; }

    /// Returns what the caller must do. If `waits`, the player owes an answer to another request, so no ping is
    /// needed. Call this after each answer, and at `deadline`.
    verdict check(clock::time_point now, bool waits)
    {
        const bool was_suspended = now - std::exchange(checked_, now) > period + suspension_margin;
        if (waits || awaits_answer_) {
            if (!waiting_since_ || was_suspended) {
                waiting_since_ = now;
            }
            return now - *waiting_since_ > timeout ? verdict::hangs : verdict::fine;
        }
        if (now < next_ping()) {
            return verdict::fine;
        }
        pinged_ = now;
        awaits_answer_ = true;
        waiting_since_ = now;
        return verdict::ping;
    }

    [[nodiscard]] clock::time_point deadline() const
    {
        return waiting_since_ ? checked_ + period : next_ping();
    }

    /// Returns whether the output takes the sound faster than real time.
    [[nodiscard]] bool is_too_fast() const { return immediate_answers_ >= max_immediate_answers; }

private:
    /// The shortest blocks last 8 ms, the usual ones 26.
    static constexpr std::chrono::milliseconds immediate_limit{4};

    /// If a check is later than this, the process was stopped in the meantime.
    static constexpr std::chrono::seconds suspension_margin{2};

    /// After an immediate answer the next ping waits a little: the player may answer several pings between two blocks.
    [[nodiscard]] clock::time_point next_ping() const
    {
        return immediate_answers_ == 0 ? pinged_ + period : pinged_ + immediate_limit;
    }

    clock::time_point checked_{};
    std::optional<clock::time_point> waiting_since_;
    clock::time_point pinged_{};
    bool awaits_answer_ = false;
    int immediate_answers_ =
        0; ///< Minus twice the late ones: threads wait for a busy processor, too.
};
