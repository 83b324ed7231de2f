#include "remote/session_bus.h"

#include "remote/media_player.h"

#include <sdbus-c++/sdbus-c++.h>

#include <array>
#include <string>

#include <poll.h>
#include <unistd.h>

namespace
{

/// The first player has the plain name.
void take_name(sdbus::IConnection& bus)
{
    const std::string name = "org.mpris.MediaPlayer2.qz_play";
    try {
        bus.requestName(name);
    } catch (const sdbus::Error&) {
        bus.requestName(name + ".instance" + std::to_string(getpid()));
    }
}

void wait_for(const sdbus::IConnection& bus, const bulletin& news)
{
    const sdbus::IConnection::PollData message = bus.getEventLoopPollData();
    std::array<pollfd, 2> waiting{pollfd{message.fd, message.events, 0},
                                  pollfd{news.descriptor(), POLLIN, 0}};
    poll(waiting.data(), waiting.size(), message.getPollTimeout());
}

} // namespace

void qz_play_serve_session_bus(const std::shared_ptr<event_queue>& requests, bulletin& news)
{
    const auto bus = sdbus::createSessionBusConnection();
    media_player player(*bus, requests, news.latest());
    take_name(*bus);
    while (!news.closed()) {
        wait_for(*bus, news);
        player.show(news.latest());
        while (bus->processPendingRequest()) {
        }
    }
}
