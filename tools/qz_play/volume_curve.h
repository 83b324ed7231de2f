/// \file
/// \brief The volume over a track's time.
#pragma once

#include "options.h"
#include "track.h"

#include <chrono>
#include <optional>

/// Rises from silence at the start of a track and falls to silence at its end; the lower of the two
/// counts, so that a track may be shorter than its fades.
///
/// The library's fades tick between two decoded blocks, a few dozen milliseconds apart, so that their
/// length could not be promised; here the clock decides.
class volume_curve
{
public:
    using seconds = std::chrono::duration<double>;

    /// A track of unknown length does not fall.
    volume_curve(const options& chosen, const track& played);

    [[nodiscard]] int volume_at(seconds elapsed) const;

    /// Returns how long the volume stays as it is at `elapsed`; nothing when it stays for ever.
    [[nodiscard]] std::optional<seconds> steady_for(seconds elapsed) const;

private:
    int full_;
    seconds fade_in_;
    seconds fade_out_;
    std::optional<seconds> length_;
};
