#include "session/volume_curve.h"

#include <algorithm>

namespace
{

double part(volume_curve::seconds done, volume_curve::seconds whole)
{
    return whole > volume_curve::seconds::zero() ? std::clamp(done / whole, 0.0, 1.0) : 1;
}

} // namespace

volume_curve::volume_curve(const options& chosen, const track& played)
    : fade_in_(chosen.fade_in), fade_out_(chosen.fade_out)
{
    if (played.size) {
        length_ = played.size->length;
    }
}

double volume_curve::level_at(seconds elapsed) const
{
    const double risen = part(elapsed, fade_in_);
    const double left = length_ ? part(*length_ - elapsed, fade_out_) : 1;
    return std::min(risen, left);
}

std::optional<volume_curve::seconds> volume_curve::steady_for(seconds elapsed) const
{
    if (elapsed < fade_in_) {
        return step;
    }
    const bool fades = fade_in_ + fade_out_ > seconds::zero();
    if (!fades || !length_) {
        return std::nullopt;
    }
    return std::max(*length_ - fade_out_ - elapsed, step);
}
