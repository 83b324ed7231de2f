// A track of any bytes on the real decoder: it plays to an end, and the next good track plays whole.

#include "call_log.h"
#include "harness.h"
#include "leftovers.h"
#include "out123_substitute.h"
#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_system_substitute.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

namespace platform = substitute::platform;

namespace
{

/// A file in memory.
class memory_file
{
public:
    memory_file(const std::uint8_t* data, std::size_t size)
        : descriptor_(memfd_create("track", MFD_CLOEXEC))
    {
        require(write(descriptor_, data, size) == static_cast<ssize_t>(size),
                "no memory for a file");
    }
    ~memory_file() { close(descriptor_); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    [[nodiscard]] std::string path() const
    {
        return "/proc/self/fd/" + std::to_string(descriptor_);
    }

private:
    int descriptor_;
};

std::size_t descriptors()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

/// A player whose thread runs when it has been asked for something.
class stepped_player
{
public:
    stepped_player() : player_(qz_audio_new())
    {
        qz_audio_on_error(player_, [](qz_audio_ptr, int code) { require(code != 0, "error 0"); });
        qz_audio_on_status_change(
            player_, [](qz_audio_ptr by, qz_audio_status) { qz_audio_get_current_track(by); });
    }
    ~stepped_player()
    {
        qz_audio_destroy(player_, __FILE__, __LINE__);
        player_.reset();
        platform::run_all();
    }
    stepped_player(const stepped_player&) = delete;
    stepped_player& operator=(const stepped_player&) = delete;

    qz_audio_status set_track(const std::string& path)
    {
        qz_audio_set_audio_track(player_, path);
        return run();
    }

    /// Plays to the end, which has to come after `most_blocks`.
    qz_audio_status play(std::size_t most_blocks)
    {
        serve_after(most_blocks, [] { require(false, "the track does not end"); });
        qz_audio_play(player_);
        return run();
    }

    /// Plays so many blocks, over and over, then to the end.
    qz_audio_status repeat(std::size_t blocks)
    {
        qz_audio_set_repeat(player_, true);
        serve_after(blocks, [this] { qz_audio_set_repeat(player_, false); });
        qz_audio_play(player_);
        const qz_audio_status status = run();
        qz_audio_set_repeat(player_, false);
        run();
        return status;
    }

private:
    static void serve_after(std::size_t blocks, const std::function<void()>& calls)
    {
        substitute::reset_calls();
        substitute::at_call(
            "qz_thread_service_run_one_only", [calls] { platform::as_caller(calls); },
            static_cast<unsigned>(blocks));
    }

    qz_audio_status run()
    {
        platform::run_all();
        auto& properties = player_->property_list;
        const auto told = boost::any_cast<qz_audio_status>(properties.at("status"));
        const auto* const record = boost::any_cast<_audio_data*>(properties.at("audio_data"));
        require(told == record->status, "the player tells another status than the engine has");
        require(told != qz_audio_status_playing, "playing, but nothing is");
        return told;
    }

    qz_audio_ptr player_;
};

/// What the player played of a good track when nothing bad had come before.
std::string play_good(stepped_player& player)
{
    constexpr std::size_t more_than_it_has = 1000;
    const std::size_t before = substitute::played().size();
    require(player.set_track(GOOD_TRACK) == qz_audio_status_loaded, "the good track does not load");
    require(player.play(more_than_it_has) == qz_audio_status_stopped,
            "the good track does not play");
    return substitute::played().substr(before);
}

const std::string& good_sound()
{
    static const std::string sound = [] {
        stepped_player player;
        return play_good(player);
    }();
    return sound;
}

void play_bad(stepped_player& player, const std::uint8_t* data, std::size_t size)
{
    const memory_file file(data, size);
    const qz_audio_status status = player.set_track(file.path());
    require(status == qz_audio_status_loaded || status == qz_audio_status_opened ||
                status == qz_audio_status_none,
            "a track that is set leaves the player in a status of its own");
    // Each block takes a byte of the file at least; some come out at the end.
    player.play(size + 100);
    player.repeat(50);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    require(!good_sound().empty(), "the good track is silent");
    const std::size_t descriptors_before = descriptors();
    {
        stepped_player player;
        play_bad(player, data, size);
        require(play_good(player) == good_sound(), "the good track plays otherwise than alone");
    }
    require_nothing_left();
    require(descriptors() == descriptors_before, "file descriptors are left");
    reset_substitutes();
    return 0;
}
