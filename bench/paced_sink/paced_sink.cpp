// A sound card without sound, as a plugin of ALSA: `type paced`. It takes frames at their real rate, frees
// its buffer a period at a time, and logs the events "first" (frames come) and "silent" (none are left)
// where BENCH_EVENTS names a file. Its configuration may hold:
//
// frames N       the size of its buffer, which has four periods; by default what the program asks for
// played "FILE"  gets a line for each time it sounded, with the number of frames that it played

#include "event_log.h"

#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include <sys/timerfd.h>

namespace
{

using clock_type = std::chrono::steady_clock; // CLOCK_MONOTONIC, as the timer's
using std::chrono::nanoseconds;

constexpr unsigned int frame_bytes = 4; // 16 bits, stereo
constexpr unsigned int periods = 4;

struct sink_settings {
    long frames = 0;    ///< Of its buffer; 0 when the program chooses.
    std::string played; ///< The file that gets the numbers of frames; empty for none.
};

class paced_sink
{
public:
    explicit paced_sink(sink_settings settings)
        : settings_(std::move(settings)),
          timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
    {
    }
    ~paced_sink() { close(timer_); }
    paced_sink(const paced_sink&) = delete;
    paced_sink& operator=(const paced_sink&) = delete;

    int create(const char* name, snd_pcm_stream_t stream, int mode);
    [[nodiscard]] snd_pcm_t* pcm() const { return io_.pcm; }

    void take_frames();
    void start();
    void stop();
    void drain();
    [[nodiscard]] snd_pcm_sframes_t position();
    void take_tick() const;

private:
    [[nodiscard]] int restrict_parameters();
    [[nodiscard]] nanoseconds length_of(snd_pcm_uframes_t frames) const;
    [[nodiscard]] snd_pcm_uframes_t frames_of_clock() const;
    void beat(nanoseconds period) const;
    void note_played() const;

    const sink_settings settings_;
    snd_pcm_ioplug_t io_{};
    int timer_;
    clock_type::time_point started_;
    bool runs_ = false;
    bool sounds_ = false;
};

/// For what only the benchmarks ask for.
void note_moment(const char* what)
{
    if (std::getenv("BENCH_EVENTS") != nullptr) {
        log_event(what);
    }
}

paced_sink& sink_of(snd_pcm_ioplug_t* io)
{
    return *static_cast<paced_sink*>(io->private_data);
}

int start_sink(snd_pcm_ioplug_t* io)
{
    sink_of(io).start();
    return 0;
}

int stop_sink(snd_pcm_ioplug_t* io)
{
    sink_of(io).stop();
    return 0;
}

snd_pcm_sframes_t position_of_sink(snd_pcm_ioplug_t* io)
{
    return sink_of(io).position();
}

snd_pcm_sframes_t transfer_to_sink(snd_pcm_ioplug_t* io, const snd_pcm_channel_area_t*,
                                   snd_pcm_uframes_t, snd_pcm_uframes_t frames)
{
    sink_of(io).take_frames();
    return static_cast<snd_pcm_sframes_t>(frames);
}

int drain_sink(snd_pcm_ioplug_t* io)
{
    sink_of(io).drain();
    return 0;
}

int take_tick_of_sink(snd_pcm_ioplug_t* io, pollfd*, unsigned int, unsigned short* events)
{
    sink_of(io).take_tick();
    *events = POLLOUT;
    return 0;
}

int close_sink(snd_pcm_ioplug_t* io)
{
    const std::unique_ptr<paced_sink> closed(&sink_of(io));
    return 0;
}

const snd_pcm_ioplug_callback_t* callbacks()
{
    static const snd_pcm_ioplug_callback_t table = [] {
        snd_pcm_ioplug_callback_t made{};
        made.start = start_sink;
        made.stop = stop_sink;
        made.pointer = position_of_sink;
        made.transfer = transfer_to_sink;
        made.drain = drain_sink;
        made.poll_revents = take_tick_of_sink;
        made.close = close_sink;
        return made;
    }();
    return &table;
}

int paced_sink::create(const char* name, snd_pcm_stream_t stream, int mode)
{
    io_.version = SND_PCM_IOPLUG_VERSION;
    io_.name = "A sound card without sound";
    io_.flags = SND_PCM_IOPLUG_FLAG_BOUNDARY_WA;
    io_.callback = callbacks();
    io_.private_data = this;
    io_.poll_fd = timer_;
    io_.poll_events = POLLIN;
    const int error = snd_pcm_ioplug_create(&io_, name, stream, mode);
    return error != 0 ? error : restrict_parameters();
}

int paced_sink::restrict_parameters()
{
    const unsigned int access = SND_PCM_ACCESS_RW_INTERLEAVED;
    const unsigned int format = SND_PCM_FORMAT_S16_LE;
    const auto asked = static_cast<unsigned int>(settings_.frames) / periods * frame_bytes;
    const unsigned int least_period = asked != 0 ? asked : 64 * frame_bytes;
    const unsigned int most_period = asked != 0 ? asked : 65536 * frame_bytes;
    const auto hold = [this](int what, unsigned int least, unsigned int most) {
        return snd_pcm_ioplug_set_param_minmax(&io_, what, least, most) == 0;
    };
    const bool held =
        snd_pcm_ioplug_set_param_list(&io_, SND_PCM_IOPLUG_HW_ACCESS, 1, &access) == 0 &&
        snd_pcm_ioplug_set_param_list(&io_, SND_PCM_IOPLUG_HW_FORMAT, 1, &format) == 0 &&
        hold(SND_PCM_IOPLUG_HW_CHANNELS, 2, 2) && hold(SND_PCM_IOPLUG_HW_RATE, 8000, 48000) &&
        hold(SND_PCM_IOPLUG_HW_PERIOD_BYTES, least_period, most_period) &&
        hold(SND_PCM_IOPLUG_HW_PERIODS, periods, periods);
    return held ? 0 : -EINVAL;
}

void paced_sink::take_frames()
{
    if (!sounds_) {
        note_moment("first");
        sounds_ = true;
    }
}

void paced_sink::start()
{
    started_ = clock_type::now();
    runs_ = true;
    beat(length_of(io_.period_size));
}

void paced_sink::stop()
{
    beat(nanoseconds::zero());
    if (std::exchange(runs_, false)) {
        note_played();
    }
    if (std::exchange(sounds_, false)) {
        note_moment("silent");
    }
}

void paced_sink::drain()
{
    std::this_thread::sleep_until(started_ + length_of(io_.appl_ptr));
    stop();
}

/// The frames played, in whole periods, as a card reports them by its interrupts.
snd_pcm_sframes_t paced_sink::position()
{
    if (!runs_) {
        return 0;
    }
    const snd_pcm_uframes_t played = frames_of_clock();
    if (played > io_.appl_ptr) {
        stop();
        return -EPIPE;
    }
    return static_cast<snd_pcm_sframes_t>(played / io_.period_size * io_.period_size);
}

/// As many frames as the time since the start has room for.
snd_pcm_uframes_t paced_sink::frames_of_clock() const
{
    const auto seconds = std::chrono::duration<double>(clock_type::now() - started_);
    return static_cast<snd_pcm_uframes_t>(seconds.count() * io_.rate);
}

void paced_sink::note_played() const
{
    if (!settings_.played.empty()) {
        const snd_pcm_uframes_t taken = io_.appl_ptr;
        std::ofstream(settings_.played, std::ios::app)
            << std::min(frames_of_clock(), taken) << '\n';
    }
}

void paced_sink::take_tick() const
{
    std::uint64_t ticks = 0;
    static_cast<void>(read(timer_, &ticks, sizeof ticks)); // whether there was one or not
}

nanoseconds paced_sink::length_of(snd_pcm_uframes_t frames) const
{
    return nanoseconds(std::chrono::seconds(1)) * frames / io_.rate;
}

/// Lets the timer tick with each period since the start; not at all with a period of zero.
void paced_sink::beat(nanoseconds period) const
{
    const timespec interval{0, period.count()};
    const itimerspec setting{interval, interval};
    timerfd_settime(timer_, 0, &setting, nullptr);
}

int read_settings(snd_config_t* configuration, sink_settings& settings)
{
    snd_config_t* entry = nullptr;
    if (snd_config_search(configuration, "frames", &entry) == 0 &&
        snd_config_get_integer(entry, &settings.frames) != 0) {
        return -EINVAL;
    }
    const char* file = nullptr;
    if (snd_config_search(configuration, "played", &entry) == 0) {
        if (snd_config_get_string(entry, &file) != 0) {
            return -EINVAL;
        }
        settings.played = file;
    }
    return 0;
}

} // namespace

extern "C" {

int SND_PCM_PLUGIN_ENTRY(paced)(snd_pcm_t** pcm, const char* name, snd_config_t*, snd_config_t*,
                                snd_pcm_stream_t stream, int mode);

int SND_PCM_PLUGIN_ENTRY(paced)(snd_pcm_t** pcm, const char* name, snd_config_t*,
                                snd_config_t* configuration, snd_pcm_stream_t stream, int mode)
{
    sink_settings settings;
    if (const int error = read_settings(configuration, settings); error != 0) {
        return error;
    }
    auto sink = std::make_unique<paced_sink>(settings);
    if (const int error = sink->create(name, stream, mode); error != 0) {
        return error;
    }
    *pcm = sink.release()->pcm(); // the library's, until it calls close_sink
    return 0;
}

SND_PCM_PLUGIN_SYMBOL(paced)
}
