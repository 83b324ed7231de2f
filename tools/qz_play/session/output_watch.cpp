#include "session/output_watch.h"

/// More answers than questions come where the volume is changed meanwhile.
void output_watch::answered(clock::time_point now)
{
    patience_.heard(now);
    if (now - asked_ > at_once) {
        answers_at_once_ = 0;
    } else if (awaits_) {
        ++answers_at_once_;
    }
    awaits_ = false;
}

output_watch::duty output_watch::await(clock::time_point now)
{
    return patience_.is_over(now) ? duty::give_up : duty::none;
}

output_watch::duty output_watch::look(clock::time_point now)
{
    if (await(now) == duty::give_up) {
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
