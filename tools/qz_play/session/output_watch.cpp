#include "session/output_watch.h"

#include <utility>

/// More answers than questions come where the volume is changed meanwhile.
void output_watch::answered(clock::time_point now)
{
    heard_ = now;
    if (now - asked_ > at_once) {
        answers_at_once_ = 0;
    } else if (awaits_) {
        ++answers_at_once_;
    }
    awaits_ = false;
}

output_watch::duty output_watch::look(clock::time_point now)
{
    const bool was_away = now - std::exchange(looked_, now) > 2 * period;
    if (was_away) {
        heard_ = now;
    }
    if (now - heard_ > longest_silence) {
        return duty::give_up;
    }
    const bool asks_on = answers_at_once_ > 0 && !awaits_;
    if (!asks_on && now - asked_ < period) {
        return duty::none;
    }
    asked_ = now;
    awaits_ = true;
    return duty::ask;
}
