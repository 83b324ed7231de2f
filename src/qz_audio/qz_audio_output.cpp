#include "qz_audio/qz_audio_check.h"
#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_notifications.h"
#include "qz_audio/qz_audio_task.h"

#include <mutex>
#include <string>

namespace
{

// Reported when no output handle can be made.
constexpr int no_output = 7;

/// Releases the handles; stores, reports and returns `error`.
int fail_open(_qz_audio* player, _audio_data& adata, int error)
{
    adata.error = error;
    release_handles(adata.mh, adata.ao);
    call_on_error(handle_of(player), error);
    return error;
}

int open_device(_audio_data& adata)
{
    // out123_open splits its driver list with strtok, which is not thread-safe.
    static std::mutex one_at_a_time;
    const std::lock_guard<std::mutex> lock(one_at_a_time);
    return out123_open(adata.ao, adata.driver, adata.device);
}

int open_handles(_qz_audio* player, _audio_data* adata)
{
    QZ_AUDIO_CHECK("adata->mh must be nulll", adata->mh == nullptr);
    QZ_AUDIO_CHECK("status must be 'none'", adata->status == qz_audio_status_none);
    adata->mh = mpg123_new(nullptr, &adata->error);
    adata->format_restricted = false;
    adata->decoder = decoder_state::usable;
    if (adata->mh == nullptr) {
        call_on_error(handle_of(player), adata->error);
        return adata->error;
    }
    mpg123_param(adata->mh, MPG123_FLAGS, MPG123_GAPLESS, 64.0);

    QZ_AUDIO_CHECK("adata->ao must be nulll", adata->ao == nullptr);
    adata->ao = out123_new();
    if (adata->ao == nullptr) {
        return fail_open(player, *adata, no_output);
    }
    const std::string path = qz_audio_get_bin_path();
    if (!path.empty()) {
        out123_param(adata->ao, OUT123_BINDIR, 0, 0.0, path.c_str());
    }
    if (open_device(*adata) != 0) {
        return fail_open(player, *adata, out123_errcode(adata->ao));
    }

    adata->status = qz_audio_status_opened;
    change_status(handle_of(player), qz_audio_status_opened);
    adata->error = 0;
    return 0;
}

} // namespace

int do_open(_qz_audio* player)
{
    _audio_data* const adata = get_audio_data(player);
    try {
        return open_handles(player, adata);
    } catch (...) {
        if (adata->status == qz_audio_status_none) {
            release_handles(adata->mh, adata->ao); // in the status none nothing else does
        }
        throw;
    }
}

int start_output(_audio_data& adata)
{
    const int result = out123_start(adata.ao, adata.rate, adata.channels, adata.encoding);
    if (result != 0) {
        return result;
    }
    return out123_getformat(adata.ao, nullptr, nullptr, nullptr, &adata.framesize);
}
