/// \file
/// \brief The volume over a track's time.
#pragma once

#include "options.h"
#include "session/track.h"

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

    /// Between two looks at a volume that moves. Finer than what a track of 44.1 kHz can follow, which is
    /// a step with each block.
    static constexpr seconds step{0.02};

    /// A track of unknown length does not fall.
    volume_curve(const options& chosen, const track& played);

    /// Returns the part of the chosen volume that is due, from 0 to 1.
    [[nodiscard]] double level_at(seconds elapsed) const;

    /// Returns how long the level stays as it is at `elapsed`; nothing when it stays for ever.
    [[nodiscard]] std::optional<seconds> steady_for(seconds elapsed) const;

private:
    seconds fade_in_;
    seconds fade_out_;
    std::optional<seconds> length_;
};
