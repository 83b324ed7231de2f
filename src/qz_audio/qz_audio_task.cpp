#include "qz_audio/qz_audio_task.h"

#include "qz_audio/qz_audio_retry.h"

qz_audio_ptr handle_of(_qz_audio* player)
{
    return boost::static_pointer_cast<_qz_audio>(player->shared_from_this());
}

void post_completion(_qz_audio* player, const std::function<void(qz_audio_ptr)>& cb)
{
    if (!cb) {
        return;
    }
    const qz_audio_ptr self = handle_of(player);
    retry_on_bad_alloc([&] {
        qz_system_service_exec(
            [cb = std::function<void(qz_audio_ptr)>(cb), self, player] { cb(handle_of(player)); },
            __FILE__, __LINE__);
    });
}
