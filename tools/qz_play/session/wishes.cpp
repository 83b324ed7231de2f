#include "session/wishes.h"

#include <algorithm>

void wishes::pause()
{
    if (state_ != play_state::stopped) {
        state_ = play_state::paused;
    }
}

void wishes::set_volume(int volume)
{
    volume_ = std::clamp(volume, 0, 100);
    muted_ = false;
}

loop_mode next_loop_mode(loop_mode mode)
{
    switch (mode) {
    case loop_mode::none:
        return loop_mode::track;
    case loop_mode::track:
        return loop_mode::list;
    case loop_mode::list:
        return loop_mode::none;
    }
    return mode;
}
