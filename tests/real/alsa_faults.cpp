#include "alsa_faults.h"

#include <mutex>
#include <optional>
#include <set>
#include <string_view>

#include <dlfcn.h>

namespace
{

struct fault_state {
    std::mutex mutex;
    alsa_fault fault;
    int calls = 0;
    int failures = 0;
    std::set<void*> refusing; ///< Open devices that a call has failed for.
};

fault_state& state()
{
    static fault_state only;
    return only;
}

/// Counts a call, and returns what it fails with.
std::optional<int> failure_of(std::string_view function)
{
    fault_state& now = state();
    const std::lock_guard<std::mutex> lock(now.mutex);
    if (now.fault.function != function) {
        return std::nullopt;
    }
    const int earlier = now.calls++;
    if (earlier < now.fault.passed || now.failures == now.fault.times) {
        return std::nullopt;
    }
    ++now.failures;
    return now.fault.error;
}

/// Calls ALSA's own function.
template <class Result, class... Arguments>
Result pass_on(const char* function, Arguments... arguments)
{
    static void* const alsa = dlopen("libasound.so.2", RTLD_NOW);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): dlsym knows no types.
    const auto own = reinterpret_cast<Result (*)(Arguments...)>(dlsym(alsa, function));
    return own(arguments...);
}

template <class Result, class... Arguments>
Result call(const char* function, Arguments... arguments)
{
    const std::optional<int> failure = failure_of(function);
    return failure ? *failure : pass_on<Result>(function, arguments...);
}

/// For a call without which the device is of no use.
template <class... Arguments>
int call_for(void* device, const char* function, Arguments... arguments)
{
    const int result = call<int>(function, device, arguments...);
    if (result < 0) {
        const std::lock_guard<std::mutex> lock(state().mutex);
        state().refusing.insert(device);
    }
    return result;
}

/// For a call that has done its work nevertheless when it fails.
int call_always(const char* function, void* device)
{
    const std::optional<int> failure = failure_of(function);
    const int result = pass_on<int>(function, device);
    return failure.value_or(result);
}

} // namespace

void break_alsa(const alsa_fault& fault)
{
    fault_state& now = state();
    const std::lock_guard<std::mutex> lock(now.mutex);
    now.fault = fault;
    now.calls = 0;
    now.failures = 0;
}

void mend_alsa()
{
    std::set<void*> lost;
    {
        const std::lock_guard<std::mutex> lock(state().mutex);
        state().fault = {};
        lost.swap(state().refusing);
    }
    // The module of libout123 opens a device and does not close it when it refuses the parameters.
    for (void* const device : lost) {
        pass_on<int>("snd_pcm_close", device);
    }
}

int alsa_failures()
{
    const std::lock_guard<std::mutex> lock(state().mutex);
    return state().failures;
}

extern "C" {

int snd_pcm_open(void** device, const char* name, int direction, int mode);
int snd_pcm_hw_params(void* device, void* parameters);
int snd_pcm_prepare(void* device);
long snd_pcm_writei(void* device, const void* samples, unsigned long frames);
int snd_pcm_drop(void* device);
int snd_pcm_close(void* device);

int snd_pcm_open(void** device, const char* name, int direction, int mode)
{
    return call<int>("snd_pcm_open", device, name, direction, mode);
}

int snd_pcm_hw_params(void* device, void* parameters)
{
    return call_for(device, "snd_pcm_hw_params", parameters);
}

int snd_pcm_prepare(void* device)
{
    return call_for(device, "snd_pcm_prepare");
}

long snd_pcm_writei(void* device, const void* samples, unsigned long frames)
{
    return call<long>("snd_pcm_writei", device, samples, frames);
}

int snd_pcm_drop(void* device)
{
    return call_always("snd_pcm_drop", device);
}

int snd_pcm_close(void* device)
{
    {
        const std::lock_guard<std::mutex> lock(state().mutex);
        state().refusing.erase(device);
    }
    return call_always("snd_pcm_close", device);
}
}
