/// \file
/// \brief The engine record: a player's decoder, output, track format and state.
#pragma once

#include "qz_audio/qz_audio.h"

#include <mpg123.h>
#include <out123.h>

#include <cstddef>

/// Whether the open track must be opened again before it is decoded. libmpg123 1.31 writes out of bounds when it
/// has refused the format of a later part of a track, is rewound and decodes again.
enum class decoder_state { usable, refused_format, rewound_after_refusal };

/// What the player's thread works on, without a lock. Once the stop of a destroy has run, only the
/// later steps of the destroy touch its handles and its status.
///
/// Its destructor releases nothing: the handles and the block are released at different times.
class _audio_data
{
public:
    virtual ~_audio_data() = default;

    mpg123_handle* mh = nullptr;     ///< The decoder.
    out123_handle* ao = nullptr;     ///< The output.
    int volume = 100;                ///< In percent.
    int error = 0;                   ///< Last code of libmpg123 or libout123, or 7; 0 is none.
    bool repeat = false;             ///< Play the track again when it ends.
    int channels = 0;                ///< Of the loaded track.
    int encoding = 0;                ///< Of the loaded track, as libmpg123 names it.
    long rate = 0;                   ///< Of the loaded track, in Hz.
    int framesize = 0;               ///< Bytes per frame of samples.
    std::size_t buffer_size = 0;     ///< Bytes of the block.
    std::size_t done = 0;            ///< Bytes that the last read put into the block.
    unsigned char* buffer = nullptr; ///< The block of decoded samples, from `malloc`.
    const char* device = nullptr;    ///< Null: the default device.
    const char* driver = nullptr;    ///< Null: the default driver.
    bool in_play = false;            ///< The play task runs.
    qz_audio_status status = qz_audio_status_none; ///< The engine's own copy.

    decoder_state decoder = decoder_state::usable;
    bool last_report_was_refusal = false; ///< By its text, the last error was a refused format.
    bool format_restricted = false; ///< The decoder gives only the format of an earlier track.
};

/// Returns the player's record, or null when it is gone. Takes `property_mutex` for the read, and retries
/// when out of memory.
_audio_data* get_audio_data(_qz_audio* ptr);

/// Deletes the output, closes and deletes the decoder, and sets both to null. Null handles are fine.
void release_handles(mpg123_handle*& mh, out123_handle*& ao);
