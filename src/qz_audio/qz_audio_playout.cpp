#include "qz_audio/qz_audio_playout.h"

#include <algorithm>

namespace
{

using namespace std::chrono_literals;

/// A device whose buffer a track does not fill is indistinguishable from a file. Up to this length the track is
/// waited for.
constexpr duration longest_unblocked = 600ms;

constexpr duration longest_wait = 2500ms;

/// Later levels say nothing of the buffer's size: the clocks of device and system drift apart.
constexpr duration time_to_fill = 3s;

/// What a device plays after its buffer is empty: the hardware's own share, and a sound server's.
constexpr duration latency_after_buffer = 25ms;

/// The clocks of device and system differ by at most one part in 1000.
constexpr int largest_drift = 1000;

} // namespace

void playout::add_write(time_point start, time_point end, duration length)
{
    if (written_ == duration::zero()) {
        first_end_ = end;
    }
    if (plays()) {
        level_ = std::max(duration::zero(), level_ - (end - last_end_));
        if (level_ == duration::zero()) { // a stall has emptied it
            filling_since_ = end;
        }
    }
    level_ += length;
    written_ += length;
    last_end_ = end;
    block_ = std::max(block_, length);

    if (end - start >= length / 4) {
        if (!plays()) {
            filling_since_ = end;
        }
        blocked_writes_ = std::min(blocked_writes_ + 1, 2);
        last_blocked_start_ = start;
        longest_blocked_ = std::max(longest_blocked_, end - start);
        since_blocked_ = duration::zero();
    }
    since_blocked_ += length;
    if (!plays() || end - filling_since_ <= time_to_fill) {
        capacity_ = std::max(capacity_, level_);
    }
}

time_point playout::end() const
{
    return last_end_ + (keeps_time() ? buffered() : duration::zero());
}

/// Returns at most how much the device has yet to play after the last write.
duration playout::buffered() const
{
    return blocked_writes_ > 0 ? std::min(capacity_ + latency_after_buffer, longest_wait)
                               : std::min(written_, longest_unblocked);
}

bool playout::keeps_time() const
{
    const duration elapsed = last_end_ - first_end_;
    const duration ahead = written_ - elapsed;
    if (ahead <= longest_unblocked) {
        return true;
    }
    // A file may block for a moment, too, but then it takes far more sound than fits into the time since.
    return blocked_writes_ > 0 && ahead <= longest_wait + elapsed / largest_drift &&
           since_blocked_ <= last_end_ - last_blocked_start_ + longest_blocked_ + block_;
}
