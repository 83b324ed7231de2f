#include "qz_audio/qz_audio_task.h"

#include "qz_audio/qz_audio_insist.h"

qz_audio_ptr handle_of(_qz_audio* player)
{
    return boost::static_pointer_cast<_qz_audio>(player->shared_from_this());
}

void hand_over(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb)
{
    if (!cb) {
        return;
    }
    const qz_audio_ptr self = handle_of(player);
    insist([&] {
        qz_system_service_exec(
            [cb = std::function<void(qz_audio_ptr)>(cb), self, player] { cb(handle_of(player)); },
            __FILE__, __LINE__);
    });
}
