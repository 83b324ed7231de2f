#include "session/snapshot.h"

#include <algorithm>
#include <cmath>
#include <tuple>

snapshot::seconds snapshot::position_at(clock::time_point now) const
{
    const seconds reached = position + (sounds ? now - taken : seconds::zero());
    if (!length || *length <= seconds::zero()) {
        return reached;
    }
    return loop == loop_mode::track ? seconds(std::fmod(reached.count(), length->count()))
                                    : std::min(reached, *length);
}

bool tell_the_same(const snapshot& one, const snapshot& other)
{
    const auto all = [](const snapshot& told) {
        return std::tie(told.state, told.path, told.title, told.artist, told.album, told.number,
                        told.track_count, told.length, told.volume, told.muted, told.loop,
                        told.shuffle, told.can_next, told.can_previous, told.sounds);
    };
    return all(one) == all(other);
}
