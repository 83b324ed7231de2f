#include "session/output_watch.h"

#include <utility>

output_watch::duty output_watch::look(clock::time_point now)
{
    const bool was_away = now - std::exchange(looked_, now) > 2 * period;
    if (was_away) {
        heard_ = now;
    }
    if (now - heard_ > longest_silence) {
        return duty::give_up;
    }
    if (now - asked_ < period) {
        return duty::none;
    }
    asked_ = now;
    return duty::ask;
}
