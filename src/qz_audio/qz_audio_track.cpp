#include "qz_audio/qz_audio_engine.h"
#include "qz_audio/qz_audio_notifications.h"
#include "qz_audio/qz_audio_retry.h"
#include "qz_audio/qz_audio_task.h"

#include <string>

namespace
{

constexpr long mpeg_rates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};

/// Lifts the restriction to an earlier track's format.
void allow_all_formats(_audio_data& adata)
{
    for (const long rate : mpeg_rates) {
        mpg123_format(adata.mh, rate, MPG123_MONO | MPG123_STEREO, MPG123_ENC_ANY);
    }
}

/// Restricts the decoder to the track's format.
void restrict_format(_audio_data& adata)
{
    mpg123_format_none(adata.mh);
    mpg123_format(adata.mh, adata.rate, adata.channels, adata.encoding);
    adata.format_restricted = true;
}

/// Opens the file of the current track in the decoder. Returns libmpg123's result.
int open_file(_qz_audio* player, _audio_data& adata)
{
    std::string path;
    retry_on_bad_alloc([&] { path = player->get_current_track(); });
    return mpg123_open(adata.mh, path.c_str());
}

/// Reads the track's format and restricts the decoder to it. Returns libmpg123's result.
int negotiate_format(_audio_data& adata)
{
    if (adata.format_restricted) {
        allow_all_formats(adata);
    }
    const int result = mpg123_getformat(adata.mh, &adata.rate, &adata.channels, &adata.encoding);
    if (result == 0) {
        restrict_format(adata);
    }
    return result;
}

/// The file cannot be opened: the handles are kept. A running play loop reports the error itself.
int fail_open_file(_qz_audio* player, _audio_data& adata)
{
    adata.error = mpg123_errcode(adata.mh);
    if (adata.status == qz_audio_status_playing) {
        adata.status = qz_audio_status_opened;
        change_status(handle_of(player), qz_audio_status_opened);
    } else {
        call_on_error(handle_of(player), adata.error);
    }
    return adata.error;
}

/// The track or the output fails: releases the handles, and reports the status none and the record's error.
void fail_load(_qz_audio* player, _audio_data& adata)
{
    release_handles(adata.mh, adata.ao);
    adata.status = qz_audio_status_none;
    change_status(handle_of(player), qz_audio_status_none);
    call_on_error(handle_of(player), adata.error);
}

} // namespace

int do_set_audio_track(_qz_audio* player)
{
    _audio_data* const adata = get_audio_data(player);
    if (adata->status == qz_audio_status_none) {
        const int result = do_open(player);
        if (result != 0) {
            return result;
        }
    }
    const int opened = open_file(player, *adata);
    adata->decoder = decoder_state::usable;
    if (opened != 0) {
        return fail_open_file(player, *adata);
    }
    if (negotiate_format(*adata) != 0) {
        adata->error = mpg123_errcode(adata->mh);
        fail_load(player, *adata);
        return adata->error;
    }
    if (start_output(*adata) != 0) {
        // The output's code is only returned; the error that is reported is the earlier one.
        const int code = out123_errcode(adata->ao);
        fail_load(player, *adata);
        return code;
    }
    out123_pause(adata->ao);
    adata->status = qz_audio_status_loaded;
    change_status(handle_of(player), qz_audio_status_loaded);
    return 0;
}

int reopen_track(_qz_audio* player)
{
    _audio_data* const adata = get_audio_data(player);
    if (open_file(player, *adata) == 0 && negotiate_format(*adata) == 0) {
        adata->decoder = decoder_state::usable;
        return 0;
    }
    adata->error = mpg123_errcode(adata->mh);
    return adata->error;
}
