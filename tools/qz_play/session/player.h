/// \file
/// \brief The library's player, with its callbacks turned into events.
#pragma once

#include "session/events.h"

#include <memory>
#include <string>

class player
{
public:
    explicit player(std::shared_ptr<event_queue> events);

    /// Asks for the player's end; the status none, which is told when its output has been closed, still
    /// becomes an event.
    ~player();

    /// Lets nothing more become an event, as from a player that is blocked: it may never end.
    void forget();

    player(const player&) = delete;
    player& operator=(const player&) = delete;

    void open();
    void load(const std::string& path);
    void play();
    void pause();

    /// Stops, and becomes a `stop_completed` behind everything that the player had to tell until then.
    void stop();

    void set_volume(int volume);
    void set_repeat(bool on);

private:
    std::shared_ptr<event_relay> relay_;
    qz_audio_ptr audio_;
};
