// A programme of calls, made by the application and from inside callbacks and neighbours, and of steps of
// every thread, with a decoder and an output that give what the programme says.

#include "byte_reader.h"
#include "call_log.h"
#include "every_function.h"
#include "harness.h"
#include "leftovers.h"
#include "mpg123_substitute.h"
#include "qz_audio/qz_audio.h"
#include "qz_audio/qz_audio_record.h"
#include "qz_system_substitute.h"
#include "silent_sound.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace platform = substitute::platform;

extern "C" const char* __asan_default_options(); // NOLINT(bugprone-reserved-identifier)

/// A decoder may report a block of any size: `malloc` returns null then, as without the sanitizer.
extern "C" const char* __asan_default_options()
{
    return "allocator_may_return_null=1";
}

// The tracks that every_function.h sets.

const std::string& silent_track()
{
    static const std::string path = "song";
    return path;
}

const std::string& other_silent_track()
{
    static const std::string path = "other";
    return path;
}

const std::string& broken_track()
{
    static const std::string path = "broken";
    return path;
}

namespace
{

constexpr auto serving = "qz_thread_service_run_one_only";

constexpr std::array<long, 9> results{
    MPG123_OK,       MPG123_OK, MPG123_ERR, MPG123_DONE, MPG123_NEED_MORE, MPG123_NEW_FORMAT,
    MPG123_NO_SPACE, 16,        7};

constexpr std::array<const char*, 26> answering{
    "mpg123_new",      "mpg123_param",       "mpg123_open", "mpg123_getformat", "mpg123_format",
    "mpg123_read",     "mpg123_outblock",    "mpg123_seek", "mpg123_volume",    "mpg123_errcode",
    "mpg123_strerror", "mpg123_format_none", "out123_new",  "out123_param",     "out123_open",
    "out123_start",    "out123_getformat",   "out123_play", "out123_errcode",   "out123_strerror",
    "mpg123_read",     "mpg123_read",        "mpg123_open", "out123_start",     "out123_open",
    "mpg123_seek"};

/// Neighbours that are called without a lock, so that others may run meanwhile.
constexpr std::array<const char*, 14> interruptible{
    "mpg123_new",   "mpg123_open", "mpg123_getformat", "mpg123_format",  "mpg123_read",
    "mpg123_seek",  "out123_new",  "out123_start",     "out123_play",    "out123_pause",
    "out123_param", "out123_drop", "out123_stop",      "mpg123_outblock"};

substitute::track scripted_track(byte_reader& bytes)
{
    substitute::track track;
    for (unsigned left = bytes.next() % 8; left > 0; --left) {
        const auto result = static_cast<int>(bytes.pick(results));
        track.blocks.push_back({result, std::string(bytes.next() % 20, 's')});
    }
    return track;
}

class programme
{
public:
    explicit programme(byte_reader bytes) : bytes_(bytes)
    {
        substitute::put_track("song", scripted_track(bytes_));
        substitute::put_track("other", {{{MPG123_OK, "aa"}}, 48000, MPG123_MONO});
        substitute::track broken;
        broken.format_result = MPG123_ERR;
        substitute::put_track("broken", broken);
        make_player();
        // Whatever plays is interrupted, so that it ends with the programme at the latest.
        substitute::at_call(
            serving, [this] { interrupt(); }, 0);
    }

    void run()
    {
        while (!bytes_.at_end()) {
            step();
            check_players();
        }
        destroy_all();
        players_.clear();
        platform::run_all();
    }

private:
    void step()
    {
        switch (bytes_.next() % 16) {
        case 0:
            return platform::advance(std::chrono::milliseconds(bytes_.next()));
        case 1:
            return substitute::answer(bytes_.pick(answering), bytes_.pick(results),
                                      1 + bytes_.next() % 4);
        case 2:
            return substitute::at_call(
                bytes_.pick(interruptible), [this] { interrupt(); }, 1 + bytes_.next() % 4);
        case 3:
            return register_callbacks();
        case 4:
            return make_player();
        case 5:
            return drop_player();
        case 6:
            platform::run_one("system");
            return;
        case 7:
        case 8:
        case 9:
            platform::run_one(thread_of(bytes_.next()));
            return;
        default:
            return call();
        }
    }

    /// Somebody else's turn, while a thread is in the middle of something.
    void interrupt()
    {
        constexpr unsigned deepest = 50;
        if (bytes_.at_end()) {
            return platform::as_caller([this] { destroy_all(); });
        }
        if (depth_ < deepest) {
            ++depth_;
            platform::as_caller([this] { step(); });
            --depth_;
        }
    }

    void call()
    {
        const auto& function = all_functions().at(bytes_.next() % all_functions().size());
        function.call(player(), bytes_.next() * 256U + bytes_.next());
    }

    /// An empty handle now and then.
    qz_audio_ptr player()
    {
        const std::size_t choice = bytes_.next() % 16;
        if (choice == 15 || players_.empty()) {
            return nullptr;
        }
        return players_[choice % players_.size()];
    }

    static std::string thread_of(unsigned choice)
    {
        const unsigned number = 1 + choice % 6;
        return number == 1 ? "audio" : "audio " + std::to_string(number);
    }

    void make_player()
    {
        constexpr std::size_t most = 3;
        if (players_.size() < most) {
            players_.push_back(qz_audio_new());
        }
    }

    void drop_player()
    {
        if (!players_.empty()) {
            destroy(players_.front());
            players_.erase(players_.begin());
        }
    }

    /// Callbacks that make the programme's next calls.
    void register_callbacks()
    {
        const qz_audio_ptr of = player();
        qz_audio_on_status_change(of, [this](qz_audio_ptr, qz_audio_status status) {
            require(status >= qz_audio_status_none && status <= qz_audio_status_stopped,
                    "a status that does not exist");
            interrupt();
        });
        qz_audio_on_error(of, [this](qz_audio_ptr, int) { interrupt(); });
        qz_audio_on_volume_change(of, [this](qz_audio_ptr, int) { interrupt(); });
    }

    static void destroy(const qz_audio_ptr& player)
    {
        if (!boost::any_cast<bool>(player->property_list.at("object-destroyed"))) {
            qz_audio_destroy(player, __FILE__, __LINE__);
        }
    }

    void destroy_all()
    {
        for (const auto& each : players_) {
            destroy(each);
        }
    }

    /// Between two steps of all threads.
    void check_players()
    {
        for (const auto& each : players_) {
            const auto& properties = each->property_list;
            const auto told = boost::any_cast<qz_audio_status>(properties.at("status"));
            const auto* const record = boost::any_cast<_audio_data*>(properties.at("audio_data"));
            require(told == record->status, "the player tells another status than the engine has");
            require(!record->in_play, "the play task has ended, but the engine does not know");
        }
    }

    byte_reader bytes_;
    std::vector<qz_audio_ptr> players_;
    unsigned depth_ = 0;
};

/// How often a check has failed that says so.
std::size_t failures(const std::string& message)
{
    const auto calls = substitute::calls();
    return static_cast<std::size_t>(
        std::count_if(calls.begin(), calls.end(), [&](const substitute::call& each) {
            return each.function == "qz_assertion_faild" && each.arguments.rfind("false", 0) == 0 &&
                   each.arguments.find('"' + message + '"') != std::string::npos;
        }));
}

/// An open of an open player loses what was open, and says so. Nothing else may fail a check.
void require_nothing_but_lost_handles()
{
    const std::size_t lost_decoders = failures("adata->mh must be nulll");
    const std::size_t lost_outputs = failures("adata->ao must be nulll");
    require(substitute::decoders_alive() == lost_decoders, "decoders are left");
    require_nothing_left(lost_outputs);
    for (const auto* const message : {"audio_data", "audio_track", "error_str", "status",
                                      "on_status_changed", "on_error", "on_volume_change"}) {
        require(failures(message) == 0, std::string("a check has failed: ") + message);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    programme(byte_reader(data, size)).run();
    require_nothing_but_lost_handles();
    reset_substitutes();
    substitute::reset_decoders();
    return 0;
}
