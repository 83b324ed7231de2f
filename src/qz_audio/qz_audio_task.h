/// \file
/// \brief What every task for the player's thread is made with.
#pragma once

#include "qz_audio/qz_audio.h"

/// Returns a handle from the player's own shared ownership. Throws `boost::bad_weak_ptr` when nothing
/// owns the player.
inline qz_audio_ptr handle_of(_qz_audio* player)
{
    return boost::static_pointer_cast<_qz_audio>(player->shared_from_this());
}

/// Player's thread: runs `body`, unless destruction has closed the player for its thread. This is the
/// one place that keeps later tasks and ticks from a record whose handles are being released.
template <typename Body>
void unless_closed(_qz_audio* player, Body body)
{
    if (!player->closed) {
        body();
    }
}

/// Player's thread: has `cb`, if not empty, called once on the system service with a handle.
void hand_over(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb);
