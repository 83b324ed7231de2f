/// \file
/// \brief Tasks for the player's thread.
#pragma once

#include "qz_audio/qz_audio.h"

#include <string>
#include <utility>

/// Returns a handle from the player's own shared ownership. Throws `boost::bad_weak_ptr` when nothing
/// owns the player.
qz_audio_ptr handle_of(_qz_audio* player);

/// Player's thread: runs `body` with the player, unless destruction has closed the player for its
/// thread. This is the one place that keeps later tasks and ticks from a record whose handles are being
/// released.
template <typename Body>
void unless_closed(_qz_audio* player, const Body& body)
{
    if (!player->closed) {
        body(player);
    }
}

/// Posts `body` to the player's thread. The task owns a handle, the arguments that `body` has captured,
/// and the player. `file` and `line` are the caller's source position.
template <typename Body>
void post(_qz_audio* player, Body body, std::string file, int line)
{
    qz_audio_ptr self = handle_of(player);
    qz_thread_service_exec(
        player->thread_service,
        [self = std::move(self), body = std::move(body), player] { unless_closed(player, body); },
        std::move(file), line);
}

/// Does `work` and then `after`, also when an exception leaves `work`.
template <typename Work, typename After>
void do_then(const Work& work, const After& after)
{
    try {
        work();
    } catch (...) {
        after();
        throw;
    }
    after();
}

/// Player's thread: has `cb`, if not empty, called once on the system service with a handle. Insists where
/// memory is short.
void hand_over(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb);
