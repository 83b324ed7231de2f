/// \file
/// \brief Tasks for the player's thread.
#pragma once

#include "qz_audio/qz_audio.h"

#include <string>
#include <utility>

/// Returns a new handle to the player. Throws `boost::bad_weak_ptr` when none exists.
qz_audio_ptr handle_of(_qz_audio* player);

/// Player's thread: runs `body` with the player, unless a destroy has closed the player.
/// Every task and tick goes through here, so none touches a record whose handles are being released.
template <typename Body>
void run_if_open(_qz_audio* player, const Body& body)
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
        [self = std::move(self), body = std::move(body), player] { run_if_open(player, body); },
        std::move(file), line);
}

/// The same for a request that ends a track: `body` runs on a closed player, too. `pending_halts` counts it until
/// it starts.
template <typename Body>
void post_halt(_qz_audio* player, Body body, std::string file, int line)
{
    const qz_audio_ptr self = handle_of(player); // for the last line: the task may be over
    qz_thread_service_exec(
        player->thread_service,
        [self, body = std::move(body), player] {
            --player->pending_halts;
            body(player);
        },
        std::move(file), line);
    ++player->pending_halts; // the task may have decremented it already
}

/// Runs `work` and then `after`, also if `work` throws.
template <typename Work, typename After>
void run_finally(const Work& work, const After& after)
{
    try {
        work();
    } catch (...) {
        after();
        throw;
    }
    after();
}

/// Player's thread: posts one call of `cb`, if not empty, with a handle, to the system service. Retries when
/// out of memory.
void post_completion(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb);
