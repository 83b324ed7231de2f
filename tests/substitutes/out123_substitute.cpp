#include "out123_substitute.h"

#include "call_log.h"
#include "handle_table.h"

#include <atomic>
#include <map>
#include <mutex>

struct out123_struct {
    std::string name;
    int error = OUT123_OK;
    int channels = 0;
};

namespace substitute
{

namespace
{

struct library_state {
    std::mutex mutex;
    std::string played;
    std::map<int, std::string> texts;
    handle_table<out123_handle> handles{"ao"};
    std::atomic<int> opening{0};
};

library_state& state()
{
    static auto& library = *new library_state;
    return library;
}

using in_use = handle_use<out123_handle>;

named name(const out123_handle* handle)
{
    return state().handles.name(handle);
}

const char* error_text(int code)
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state()
        .texts.try_emplace(code, "output error " + std::to_string(code))
        .first->second.c_str();
}

/// The real open is not safe to enter twice at once.
class opening
{
public:
    opening()
    {
        if (state().opening++ > 0) {
            report_violation("out123_open: entered by two threads at once");
        }
    }
    ~opening() { --state().opening; }
    opening(const opening&) = delete;
    opening& operator=(const opening&) = delete;
};

} // namespace

std::string played()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().played;
}

std::size_t outputs_alive()
{
    return state().handles.alive();
}

void reset_outputs()
{
    state().handles.reset();
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().played.clear();
}

} // namespace substitute

using substitute::entry;
using substitute::in_use;
using substitute::name;
using substitute::state;

out123_handle* out123_new()
{
    const substitute::inside here;
    const entry call("out123_new");
    return call.planned_answer() ? nullptr : state().handles.make();
}

void out123_del(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_del");
    const entry call("out123_del", name(ao));
    state().handles.end(ao);
}

int out123_param(out123_handle* ao, int code, long value, double fvalue, const char* svalue)
{
    const in_use handle(state().handles, ao, "out123_param");
    const entry call("out123_param", name(ao), code, value, fvalue, svalue);
    return static_cast<int>(call.answer_or(handle ? OUT123_OK : OUT123_ERR));
}

int out123_open(out123_handle* ao, const char* driver, const char* device)
{
    const in_use handle(state().handles, ao, "out123_open");
    const substitute::opening alone;
    const entry call("out123_open", name(ao), driver, device);
    return static_cast<int>(call.answer_or(handle ? OUT123_OK : OUT123_ERR));
}

int out123_start(out123_handle* ao, long rate, int channels, int encoding)
{
    const in_use handle(state().handles, ao, "out123_start");
    const entry call("out123_start", name(ao), rate, channels, encoding);
    if (!handle) {
        return OUT123_ERR;
    }
    handle->channels = channels;
    return static_cast<int>(call.answer_or(OUT123_OK));
}

int out123_getformat(out123_handle* ao, long* rate, int* channels, int* encoding, int* framesize)
{
    const in_use handle(state().handles, ao, "out123_getformat");
    const auto wanted = [](const void* result) {
        return substitute::named{result == nullptr ? "null" : "wanted"};
    };
    const entry call("out123_getformat", name(ao), wanted(rate), wanted(channels), wanted(encoding),
                     wanted(framesize));
    if (!handle) {
        return OUT123_ERR;
    }
    if (framesize != nullptr) {
        *framesize = 2 * handle->channels;
    }
    return static_cast<int>(call.answer_or(OUT123_OK));
}

void out123_pause(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_pause");
    const entry call("out123_pause", name(ao));
}

std::size_t out123_play(out123_handle* ao, void* buffer, std::size_t bytes)
{
    const in_use handle(state().handles, ao, "out123_play");
    const entry call("out123_play", name(ao), bytes);
    if (!handle) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(state().mutex);
    state().played.append(static_cast<const char*>(buffer), bytes);
    return static_cast<std::size_t>(call.answer_or(static_cast<long>(bytes)));
}

void out123_drop(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_drop");
    const entry call("out123_drop", name(ao));
}

void out123_stop(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_stop");
    const entry call("out123_stop", name(ao));
}

int out123_errcode(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_errcode");
    const entry call("out123_errcode", name(ao));
    if (!handle) {
        return OUT123_BAD_HANDLE;
    }
    handle->error = static_cast<int>(call.answer_or(handle->error));
    return handle->error;
}

const char* out123_strerror(out123_handle* ao)
{
    const in_use handle(state().handles, ao, "out123_strerror");
    const entry call("out123_strerror", name(ao));
    if (call.planned_answer()) {
        return nullptr;
    }
    return substitute::error_text(handle ? handle->error : OUT123_BAD_HANDLE);
}
