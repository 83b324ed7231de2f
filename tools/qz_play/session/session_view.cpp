// What the session lets others know.

#include "session/session.h"

snapshot session::look() const
{
    snapshot now;
    now.state = heard_ ? shown_state() : play_state::stopped;
    now.path = tracks_.current();
    now.number = tracks_.number();
    now.track_count = tracks_.size();
    now.volume = wanted_.volume();
    now.muted = wanted_.muted();
    now.loop = wanted_.loop();
    now.shuffle = tracks_.shuffled();
    now.can_next = tracks_.has_next();
    now.can_previous = tracks_.has_previous();
    now.taken = snapshot::clock::now();
    if (runs_current_track()) {
        now.sounds = run_->sounds();
        now.position = run_->position();
        now.title = run_->played().told.title;
        now.artist = run_->played().told.artist;
        now.album = run_->played().told.album;
        if (run_->played().size) {
            now.length = run_->played().size->length;
        }
    }
    return now;
}

/// A track that falls to silence plays until that is reached. Whoever quits need not wait to see it.
play_state session::shown_state() const
{
    if (leaving_) {
        return play_state::stopped;
    }
    return rests() && runs_current_track() && run_->sounds() ? play_state::playing
                                                             : wanted_.state();
}

bool session::runs_current_track() const
{
    return run_ && run_number_ == tracks_.number();
}

void session::publish()
{
    const snapshot now = look();
    if (!tell_the_same(now, told_)) {
        told_ = now;
        for (const listener& changed : listeners_) {
            changed(now);
        }
    }
}

void session::draw()
{
    if (run_ || rests() || leaving_) {
        display_.live(told_);
    }
}
