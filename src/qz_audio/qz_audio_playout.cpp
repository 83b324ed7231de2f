#include "qz_audio/qz_audio_playout.h"

#include <algorithm>

namespace
{

using namespace std::chrono_literals;

/// A track that does not fill the device's buffer is written as fast as into a file. Up to this length it is
/// waited for.
constexpr duration longest_unblocked = 600ms;

constexpr duration longest_wait = 2500ms;

/// Levels after this time do not show the buffer's size: the clocks of device and system drift apart.
constexpr duration time_to_fill = 3s;

/// What a device plays after its buffer is empty: the hardware's own share, and a sound server's.
constexpr duration latency_after_buffer = 25ms;

/// The clocks of device and system differ by at most one part in so many.
constexpr int drift_divisor = 1000;

/// A write blocks if it takes at least one part in so many of the time that its sound plays.
constexpr int blocking_divisor = 4;

} // namespace

void playout_estimator::add_write(time_point start, time_point end, duration length)
{
    if (written_ == duration::zero()) {
        first_end_ = end;
    }
    if (device_plays()) {
        level_ = std::max(duration::zero(), level_ - (end - last_end_));
        if (level_ == duration::zero()) { // a stall has emptied it
            filling_since_ = end;
        }
    }
    level_ += length;
    written_ += length;
    last_end_ = end;
    longest_write_ = std::max(longest_write_, length);

    if (end - start >= length / blocking_divisor) {
        if (!device_plays()) {
            filling_since_ = end;
        }
        blocked_writes_ = std::min(blocked_writes_ + 1, 2);
        last_blocked_start_ = start;
        longest_blocked_ = std::max(longest_blocked_, end - start);
        since_blocked_ = duration::zero();
    }
    since_blocked_ += length;
    if (!device_plays() || end - filling_since_ <= time_to_fill) {
        capacity_ = std::max(capacity_, level_);
    }
}

time_point playout_estimator::expected_end() const
{
    return last_end_ + (is_real_time() ? buffered() : duration::zero());
}

/// Returns the most that the device can have to play after the last write.
duration playout_estimator::buffered() const
{
    return blocked_writes_ > 0 ? std::min(capacity_ + latency_after_buffer, longest_wait)
                               : std::min(written_, longest_unblocked);
}

bool playout_estimator::is_real_time() const
{
    const duration elapsed = last_end_ - first_end_;
    const duration ahead = written_ - elapsed;
    if (ahead <= longest_unblocked) {
        return true;
    }
    // A write to a file may block, too, but since then a file has taken far more sound than real time allows.
    return blocked_writes_ > 0 && ahead <= longest_wait + elapsed / drift_divisor &&
           since_blocked_ <= last_end_ - last_blocked_start_ + longest_blocked_ + longest_write_;
}
