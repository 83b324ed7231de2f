#include "mpg123_substitute.h"

#include "call_log.h"
#include "handle_table.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <optional>

namespace
{

struct format {
    long rate;
    int channels;  ///< A set of MPG123_MONO and MPG123_STEREO.
    int encodings; ///< A set of encodings.
};

} // namespace

struct mpg123_handle_struct {
    std::string name;
    int error = MPG123_OK;
    std::optional<substitute::track> track;
    std::size_t next_block = 0;
    /// The formats that may come out; all while empty.
    std::optional<std::vector<format>> allowed;
};

namespace substitute
{

namespace
{

struct library_state {
    std::mutex mutex;
    std::map<std::string, track> tracks;
    std::map<int, std::string> texts{
        {MPG123_BAD_OUTFORMAT, "Unable to set up output format! (code 1)"}};
    handle_table<mpg123_handle> handles{"mh"};
};

library_state& state()
{
    static auto& library = *new library_state;
    return library;
}

using in_use = handle_use<mpg123_handle>;

named name(const mpg123_handle* handle)
{
    return state().handles.name(handle);
}

/// As the real library numbers and words its errors, the text is fixed for each code.
const char* error_text(int code)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state()
        .texts.try_emplace(code, "decoder error " + std::to_string(code))
        .first->second.c_str();
}

std::optional<track> track_at(const std::string& path)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    const auto found = state().tracks.find(path);
    return found == state().tracks.end() ? std::nullopt : std::optional<track>(found->second);
}

/// The channels in which the track comes out of the handle, as pinned; 0 when no allowed format fits.
int channels_out(const mpg123_handle& handle)
{
    const track& wanted = *handle.track;
    if (!handle.allowed) {
        return wanted.channels;
    }
    for (const auto& each : *handle.allowed) {
        if (each.rate == wanted.rate && (each.encodings & wanted.encoding) != 0) {
            return (each.channels & wanted.channels) != 0 ? wanted.channels : each.channels;
        }
    }
    return 0;
}

int fail(mpg123_handle& handle, int code)
{
    handle.error = code;
    return MPG123_ERR;
}

} // namespace

void put_track(const std::string& path, track content)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().tracks[path] = std::move(content);
}

std::size_t decoders_alive()
{
    return state().handles.alive();
}

void reset_decoders()
{
    state().handles.reset();
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().tracks.clear();
}

} // namespace substitute

using substitute::entry;
using substitute::in_use;
using substitute::name;
using substitute::state;

int mpg123_init()
{
    const entry call("mpg123_init");
    return static_cast<int>(call.answer_or(MPG123_OK));
}

void mpg123_exit()
{
    const entry call("mpg123_exit");
}

mpg123_handle* mpg123_new(const char* decoder, int* error)
{
    const substitute::inside here;
    const entry call("mpg123_new", decoder);
    *error = static_cast<int>(call.answer_or(MPG123_OK));
    return *error == MPG123_OK ? state().handles.make() : nullptr;
}

int mpg123_param(mpg123_handle* mh, int type, long value, double fvalue)
{
    const in_use handle(state().handles, mh, "mpg123_param");
    const entry call("mpg123_param", name(mh), type, value, fvalue);
    return static_cast<int>(call.answer_or(handle ? MPG123_OK : MPG123_BAD_HANDLE));
}

int mpg123_open(mpg123_handle* mh, const char* path)
{
    const in_use handle(state().handles, mh, "mpg123_open");
    const entry call("mpg123_open", name(mh), path);
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    handle->next_block = 0;
    handle->track = call.planned_answer() ? std::nullopt : substitute::track_at(path);
    if (handle->track) {
        return MPG123_OK;
    }
    return static_cast<int>(call.answer_or(substitute::fail(*mh, MPG123_BAD_FILE)));
}

int mpg123_getformat(mpg123_handle* mh, long* rate, int* channels, int* encoding)
{
    const in_use handle(state().handles, mh, "mpg123_getformat");
    const entry call("mpg123_getformat", name(mh));
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    if (!handle->track) {
        return substitute::fail(*mh, MPG123_NO_READER);
    }
    const long result = call.answer_or(handle->track->format_result);
    if (result != MPG123_OK) {
        return static_cast<int>(result);
    }
    const int channels_out = substitute::channels_out(*mh);
    if (channels_out == 0) {
        return substitute::fail(*mh, MPG123_BAD_OUTFORMAT);
    }
    *rate = handle->track->rate;
    *channels = channels_out;
    *encoding = handle->track->encoding;
    return MPG123_OK;
}

int mpg123_format_none(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_format_none");
    const entry call("mpg123_format_none", name(mh));
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    handle->allowed.emplace();
    return static_cast<int>(call.answer_or(MPG123_OK));
}

int mpg123_format(mpg123_handle* mh, long rate, int channels, int encodings)
{
    const in_use handle(state().handles, mh, "mpg123_format");
    const entry call("mpg123_format", name(mh), rate, channels, encodings);
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    if (handle->allowed) {
        auto& allowed = *handle->allowed;
        allowed.erase(std::remove_if(allowed.begin(), allowed.end(),
                                     [&](const format& each) { return each.rate == rate; }),
                      allowed.end());
        allowed.push_back({rate, channels, encodings});
    }
    return static_cast<int>(call.answer_or(MPG123_OK));
}

std::size_t mpg123_outblock(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_outblock");
    const entry call("mpg123_outblock", name(mh));
    return static_cast<std::size_t>(call.answer_or(16));
}

int mpg123_read(mpg123_handle* mh, void* outmemory, std::size_t outmemsize, std::size_t* done)
{
    const in_use handle(state().handles, mh, "mpg123_read");
    const entry call("mpg123_read", name(mh), outmemsize);
    *done = 0;
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    if (!handle->track) {
        return substitute::fail(*mh, MPG123_NO_READER);
    }
    const auto& blocks = handle->track->blocks;
    if (handle->next_block >= blocks.size()) {
        return static_cast<int>(call.answer_or(MPG123_DONE));
    }
    const auto& block = blocks[handle->next_block++];
    handle->error = block.error;
    *done = outmemory == nullptr ? 0 : std::min(outmemsize, block.bytes.size());
    std::copy_n(block.bytes.begin(), *done, static_cast<char*>(outmemory));
    return static_cast<int>(call.answer_or(block.result));
}

off_t mpg123_seek(mpg123_handle* mh, off_t sampleoff, int whence)
{
    const in_use handle(state().handles, mh, "mpg123_seek");
    const entry call("mpg123_seek", name(mh), sampleoff, whence);
    if (!handle) {
        substitute::report_violation("mpg123_seek: a null handle, which crashes the real library");
        return MPG123_ERR;
    }
    const off_t result = call.answer_or(sampleoff);
    if (result == 0) {
        handle->next_block = 0;
    }
    return result;
}

int mpg123_volume(mpg123_handle* mh, double vol)
{
    const in_use handle(state().handles, mh, "mpg123_volume");
    const entry call("mpg123_volume", name(mh), vol);
    return static_cast<int>(call.answer_or(handle ? MPG123_OK : MPG123_ERR));
}

int mpg123_errcode(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_errcode");
    const entry call("mpg123_errcode", name(mh));
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    handle->error = static_cast<int>(call.answer_or(handle->error));
    return handle->error;
}

const char* mpg123_strerror(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_strerror");
    const entry call("mpg123_strerror", name(mh));
    if (call.planned_answer()) {
        return nullptr;
    }
    return substitute::error_text(handle ? handle->error : MPG123_BAD_HANDLE);
}

int mpg123_close(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_close");
    const entry call("mpg123_close", name(mh));
    if (!handle) {
        return MPG123_BAD_HANDLE;
    }
    handle->track.reset();
    return MPG123_OK;
}

void mpg123_delete(mpg123_handle* mh)
{
    const in_use handle(state().handles, mh, "mpg123_delete");
    const entry call("mpg123_delete", name(mh));
    state().handles.end(mh);
}
