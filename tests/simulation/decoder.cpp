// The simulated libmpg123. What a path leads to, and what fails, is drawn from the seed.
#include "invariants.h"
#include "sound.h"
#include "sound_handles.h"

#include <mpg123.h>

#include <optional>
#include <string>

namespace simulation
{

namespace
{

/// What a path leads to.
struct track {
    unsigned blocks;
    int last_result; ///< Of the read after the last block.
    bool has_format;
    long rate;
    int channels;
};

} // namespace

} // namespace simulation

// NOLINTNEXTLINE(readability-identifier-naming): the library's name for it.
struct mpg123_handle_struct : simulation::sound_handle {
    std::optional<simulation::track> track;
    unsigned next_block = 0;
    std::optional<double> volume; ///< Unknown after a failed call.
};

namespace simulation
{

namespace
{

using call = library_call<mpg123_handle>;

handle_table<mpg123_handle>& handles()
{
    static handle_table<mpg123_handle> table("decoder ");
    return table;
}

/// Tracks differ by the characters of their paths, and from seed to seed.
std::optional<track> track_at(const std::string& path)
{
    std::uint64_t key = neighbours().seed();
    for (const char each : path) {
        key = scramble(key + static_cast<unsigned char>(each));
    }
    random_sequence choices(key);
    if (path.empty() || choices.one_in(8)) {
        return std::nullopt;
    }
    track found{};
    found.blocks = choices.one_of({0U, 1U, 2U, 3U, 5U, 12U});
    found.last_result =
        choices.one_in(6)
            ? choices.one_of({MPG123_ERR, MPG123_NEW_FORMAT, MPG123_NEED_MORE, MPG123_OK})
            : MPG123_DONE;
    found.has_format = !choices.one_in(10);
    found.rate = choices.one_of({44100L, 8000L, 600L, 600L, 100L, 40L});
    found.channels = choices.one_of({1, 2});
    return found;
}

int refuse(mpg123_handle& handle, int code)
{
    check_decoded(*calling_player(), MPG123_ERR);
    handle.error = code;
    return MPG123_ERR;
}

/// A decode that has failed for good is reported; "done" and "more" are no failures.
bool is_decode_error(int result)
{
    return result != MPG123_OK && result != MPG123_DONE && result != MPG123_NEED_MORE;
}

int read(mpg123_handle& handle, std::size_t size, std::size_t& done)
{
    if (!handle.track) {
        return refuse(handle, MPG123_NO_READER);
    }
    if (handle.next_block >= handle.track->blocks) {
        return handle.track->last_result;
    }
    ++handle.next_block;
    done = size;
    return MPG123_OK;
}

/// A call that changes nothing here.
int set_up(mpg123_handle* mh, const char* function)
{
    const call entered(handles(), mh, function);
    if (!entered) {
        return MPG123_BAD_HANDLE;
    }
    return entered.fails(MPG123_BAD_PARAM) ? MPG123_ERR : MPG123_OK;
}

/// A volume that the application or a fade has asked for, and not the play task's own.
bool was_asked_for(const player& by)
{
    return !by.own_thread->jobs.empty() && by.own_thread->jobs.back() != operation::play;
}

} // namespace

void every_decoder_was_closed()
{
    handles().check_all_closed();
    handles().clear();
}

} // namespace simulation

using namespace simulation;

int mpg123_init()
{
    return MPG123_OK;
}

void mpg123_exit() {}

mpg123_handle* mpg123_new(const char*, int* error)
{
    enter_library("mpg123_new");
    player& caller = *calling_player();
    check_decoded(caller, MPG123_OK); // what the former decoder gave no longer counts
    if (neighbours().fails("mpg123_new", caller.number)) {
        if (caller.record->mh != nullptr) {
            caller.record->mh->replaced = true;
        }
        *error = MPG123_OUT_OF_MEM;
        note_failure("mpg123_new", *error);
        return nullptr;
    }
    *error = MPG123_OK;
    return handles().make(caller.number, caller.record->mh);
}

int mpg123_param(mpg123_handle* mh, int, long, double)
{
    return set_up(mh, "mpg123_param");
}

int mpg123_open(mpg123_handle* mh, const char* path)
{
    const call entered(handles(), mh, "mpg123_open");
    // A player that a second play has halted has no loop around this task that would report it.
    const char* const reported = calling_player()->halted ? nullptr : "mpg123_open";
    if (!entered) {
        note_failure(reported, MPG123_BAD_HANDLE);
        return MPG123_ERR;
    }
    entered.block();
    mh->next_block = 0;
    mh->track = entered.fails(MPG123_BAD_FILE) ? std::nullopt : track_at(path);
    if (!mh->track) {
        note_failure(reported, MPG123_BAD_FILE);
        return refuse(*mh, MPG123_BAD_FILE);
    }
    return MPG123_OK;
}

int mpg123_getformat(mpg123_handle* mh, long* rate, int* channels, int* encoding)
{
    const call entered(handles(), mh, "mpg123_getformat");
    if (!entered) {
        note_failure("mpg123_getformat", MPG123_BAD_HANDLE);
        return MPG123_ERR;
    }
    if (!mh->track || !mh->track->has_format || entered.fails(MPG123_BAD_OUTFORMAT)) {
        note_failure("mpg123_getformat", MPG123_BAD_OUTFORMAT);
        return refuse(*mh, MPG123_BAD_OUTFORMAT);
    }
    *rate = mh->track->rate;
    *channels = mh->track->channels;
    *encoding = MPG123_ENC_SIGNED_16;
    return MPG123_OK;
}

int mpg123_format_none(mpg123_handle* mh)
{
    return set_up(mh, "mpg123_format_none");
}

int mpg123_format(mpg123_handle* mh, long, int, int)
{
    return set_up(mh, "mpg123_format");
}

std::size_t mpg123_outblock(mpg123_handle* mh)
{
    const call entered(handles(), mh, "mpg123_outblock");
    return entered ? 64 : 16;
}

int mpg123_read(mpg123_handle* mh, void* outmemory, std::size_t outmemsize, std::size_t* done)
{
    const call entered(handles(), mh, "mpg123_read");
    *done = 0;
    check_block_memory(size_of_block(outmemory), outmemsize);
    check_block_read(*calling_player());
    if (!entered) {
        note_failure("mpg123_read", MPG123_BAD_HANDLE);
        return MPG123_BAD_HANDLE;
    }
    check_decoder_volume(*calling_player(), mh->volume);
    entered.block();
    const int result = entered.fails(MPG123_ERR) ? MPG123_ERR : read(*mh, outmemsize, *done);
    check_decoded(*calling_player(), result);
    if (result != MPG123_OK) {
        note_failure(is_decode_error(result) ? "mpg123_read" : nullptr, result);
    }
    return result;
}

off_t mpg123_seek(mpg123_handle* mh, off_t, int)
{
    const call entered(handles(), mh, "mpg123_seek");
    check_seek(static_cast<bool>(entered));
    if (entered.fails(MPG123_NO_SEEK)) {
        note_failure(nullptr, MPG123_ERR);
        check_decoded(*calling_player(), MPG123_ERR);
        return MPG123_ERR;
    }
    mh->next_block = 0;
    return 0;
}

int mpg123_volume(mpg123_handle* mh, double vol)
{
    const call entered(handles(), mh, "mpg123_volume");
    if (!entered) {
        return MPG123_ERR;
    }
    player* const caller = calling_player();
    const bool asked = caller != nullptr && was_asked_for(*caller);
    if (asked) {
        check_volume_change(*caller);
    }
    if (entered.fails(MPG123_BAD_PARAM)) {
        note_failure(asked ? "mpg123_volume" : nullptr, MPG123_ERR);
        mh->volume.reset();
        return MPG123_ERR;
    }
    mh->volume = vol;
    if (asked) {
        caller->owes_volume = true;
    }
    return MPG123_OK;
}

int mpg123_errcode(mpg123_handle* mh)
{
    const call entered(handles(), mh, "mpg123_errcode");
    return entered ? mh->error : MPG123_BAD_HANDLE;
}

const char* mpg123_strerror(mpg123_handle* mh)
{
    const call entered(handles(), mh, "mpg123_strerror");
    return entered ? "the decoder's last error" : "no decoder";
}

int mpg123_close(mpg123_handle* mh)
{
    const call entered(handles(), mh, "mpg123_close");
    if (entered) {
        mh->track.reset();
    }
    return entered ? MPG123_OK : MPG123_BAD_HANDLE;
}

void mpg123_delete(mpg123_handle* mh)
{
    const call entered(handles(), mh, "mpg123_delete");
    if (entered) {
        mh->alive = false;
    }
}
