#include "session/volume_ramp.h"

#include <algorithm>

void volume_ramp::move(double target, seconds whole, clock::time_point now)
{
    start_ = level(now);
    target_ = target;
    whole_ = whole;
    started_ = now;
}

double volume_ramp::level(clock::time_point now) const
{
    if (whole_ <= seconds::zero()) {
        return target_;
    }
    const double way = seconds(now - started_) / whole_;
    return start_ < target_ ? std::min(start_ + way, target_) : std::max(start_ - way, target_);
}
