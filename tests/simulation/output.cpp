// The simulated libout123. What fails, and how long the device takes, is drawn from the seed.
#include "invariants.h"
#include "sound.h"
#include "sound_handles.h"

#include <out123.h>

#include <algorithm>
#include <cstdint>
#include <optional>

// NOLINTNEXTLINE(readability-identifier-naming): the library's name for it.
struct out123_struct : simulation::sound_handle {
    bool started = false;
    std::size_t buffered = 0;
    std::optional<simulation::milliseconds> buffer; ///< Of a device that keeps real time.
    std::uint64_t rate = 1;
    std::uint64_t silent_at = 0; ///< In virtual microseconds: when it has played what it buffers.
};

namespace simulation
{

namespace
{

using call = library_call<out123_handle>;

constexpr std::size_t bytes_per_frame = 4;

handle_table<out123_handle>& handles()
{
    static handle_table<out123_handle> table("output ");
    return table;
}

unsigned outputs_opening = 0;

/// The real library must not open two outputs at the same time.
class opening
{
public:
    opening() { check_opening(*scheduler::running()->current(), outputs_opening++); }
    ~opening() { --outputs_opening; }
    opening(const opening&) = delete;
    opening& operator=(const opening&) = delete;
};

/// How long a device that keeps real time still sounds.
milliseconds unplayed(const out123_handle& ao)
{
    const std::uint64_t now = scheduler::running()->now() * 1000;
    return ao.silent_at > now ? (ao.silent_at - now + 999) / 1000 : 0;
}

/// The device gets so many bytes. Returns how long it takes until they fit into its buffer.
milliseconds take(out123_handle& ao, std::size_t bytes)
{
    if (!ao.buffer) {
        return bytes == 0 ? 0 : neighbours().pace();
    }
    const std::uint64_t begin = std::max(ao.silent_at, scheduler::running()->now() * 1000);
    ao.silent_at = begin + bytes / bytes_per_frame * 1'000'000 / ao.rate;
    return std::max(unplayed(ao), *ao.buffer) - *ao.buffer;
}

} // namespace

void every_output_was_closed()
{
    handles().check_all_closed();
    handles().clear();
}

} // namespace simulation

using namespace simulation;

out123_handle* out123_new()
{
    enter_library("out123_new");
    player& caller = *calling_player();
    if (neighbours().fails("out123_new", caller.number)) {
        if (caller.record->ao != nullptr) {
            caller.record->ao->replaced = true;
        }
        note_failure("out123_new", OUT123_DOOM);
        return nullptr;
    }
    return handles().make(caller.number, caller.record->ao);
}

void out123_del(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_del");
    if (entered) {
        entered.block();
        ao->alive = false;
    }
}

int out123_param(out123_handle* ao, int, long, double, const char*)
{
    const call entered(handles(), ao, "out123_param");
    return entered && !entered.fails(OUT123_BAD_PARAM) ? OUT123_OK : OUT123_ERR;
}

int out123_open(out123_handle* ao, const char*, const char*)
{
    const call entered(handles(), ao, "out123_open");
    const opening alone;
    entered.block();
    if (entered.fails(OUT123_DEV_OPEN)) {
        note_failure("out123_open", OUT123_DEV_OPEN);
        return OUT123_ERR;
    }
    return OUT123_OK;
}

int out123_start(out123_handle* ao, long rate, int, int)
{
    const call entered(handles(), ao, "out123_start");
    if (!entered) {
        note_failure("out123_start", OUT123_BAD_HANDLE);
        return OUT123_ERR;
    }
    entered.block();
    ao->started = !entered.fails(OUT123_DEV_PLAY);
    ao->buffered = 0;
    ao->buffer = neighbours().buffer();
    ao->rate = static_cast<std::uint64_t>(rate);
    ao->silent_at = 0;
    if (!ao->started) {
        note_failure("out123_start", OUT123_DEV_PLAY);
        return OUT123_ERR;
    }
    return OUT123_OK;
}

int out123_getformat(out123_handle* ao, long*, int*, int*, int* framesize)
{
    const call entered(handles(), ao, "out123_getformat");
    if (!entered || entered.fails(OUT123_NOT_LIVE)) {
        note_failure("out123_getformat", entered ? OUT123_NOT_LIVE : OUT123_BAD_HANDLE);
        return OUT123_ERR;
    }
    *framesize = bytes_per_frame;
    return OUT123_OK;
}

void out123_pause(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_pause");
    if (entered) {
        ao->silent_at = 0; // it closes the device
        entered.block();
    }
}

std::size_t out123_play(out123_handle* ao, void*, std::size_t bytes)
{
    const call entered(handles(), ao, "out123_play");
    if (!entered) {
        return 0;
    }
    check_played(ao->started, bytes);
    if (entered.fails(OUT123_DEV_PLAY)) {
        ao->buffer.reset(); // from now on it does not keep time either
        ao->silent_at = 0;
        return 0;
    }
    ao->buffered += bytes;
    entered.block();
    call::wait(take(*ao, bytes));
    return bytes;
}

void out123_drop(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_drop");
    if (entered) {
        check_dropped(*calling_player(), unplayed(*ao));
        ao->buffered = 0;
        ao->silent_at = 0;
        entered.block();
    }
}

void out123_stop(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_stop");
    if (entered) {
        check_output_stopped(ao->buffered);
        ao->started = false;
        entered.block();
    }
}

int out123_errcode(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_errcode");
    return entered ? ao->error : OUT123_BAD_HANDLE;
}

const char* out123_strerror(out123_handle* ao)
{
    const call entered(handles(), ao, "out123_strerror");
    return entered ? "the output's last error" : "no output";
}
