/// \file
/// \brief Ends, with exit status 7, in the way that its first argument names, while players play the
/// track that its second argument names. Or has children that end so, and lets the players play on.

#include "event.h"
#include "own_exit.h"
#include "qz_audio/qz_audio.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

/// Plays for ever, with a fade and callbacks that call back in for ever.
qz_audio_ptr start_playing(const std::string& track)
{
    const auto playing = std::make_shared<event>();
    qz_audio_ptr player = qz_audio_new();
    qz_audio_on_volume_change(
        player, [](const qz_audio_ptr& told, int volume) { qz_audio_set_volume(told, volume); });
    qz_audio_on_status_change(player, [playing](const qz_audio_ptr& told, qz_audio_status status) {
        if (status == qz_audio_status_playing) {
            qz_audio_set_volume(told, 50);
            playing->set();
        }
    });
    qz_audio_set_repeat(player, true);
    qz_audio_set_audio_track(player, track);
    qz_audio_play(player);
    require(playing->wait());
    return player;
}

/// Ends last of all, and still uses its player then.
class last_user
{
public:
    last_user() = default;
    ~last_user()
    {
        if (!player) {
            return;
        }
        const auto stopped = std::make_shared<event>();
        qz_audio_stop(player, [stopped](const qz_audio_ptr&) { stopped->set(); });
        require(stopped->wait());
        qz_audio_set_bin_path("./another path that is long enough for the heap/");
        require(qz_audio_get_current_track(player) == track);
        destroy(player);
        destroy(start_playing(track));
    }
    last_user(const last_user&) = delete;
    last_user& operator=(const last_user&) = delete;

    qz_audio_ptr player;
    std::string track;

private:
    static void destroy(const qz_audio_ptr& ended)
    {
        qz_audio_destroy(ended, __FILE__, __LINE__);
        const boost::weak_ptr<_qz_audio> watch = ended;
        require(wait_until([&watch] { return watch.use_count() == 1; }));
    }
};

last_user user;

/// Opens for ever, so that the output-module path is read while the process ends.
void open_for_ever()
{
    const qz_audio_ptr player = qz_audio_new();
    qz_audio_on_status_change(player, [](const qz_audio_ptr& told, qz_audio_status status) {
        if (status == qz_audio_status_opened) {
            qz_audio_destroy(told, __FILE__, __LINE__);
        }
        if (status == qz_audio_status_none) {
            open_for_ever();
        }
    });
    qz_audio_open(player);
}

void set_alarm()
{
    alarm(static_cast<unsigned>(patience.count()));
}

[[noreturn]] void execute()
{
    execl("/bin/sh", "sh", "-c", ("exit " + std::to_string(own_status)).c_str(), nullptr);
    std::abort();
}

/// How a child may end.
const std::map<std::string, void (*)()> child_ends{
    {"child_ends_at_once", [] { _exit(own_status); }},
    {"child_exits", [] { exit_now(); }},
    {"child_executes", [] { execute(); }},
};

void have_children(void (*end)())
{
    // Most forks find the path's lock taken, by a thread that the child does not have.
    std::thread([] {
        for (;;) {
            qz_audio_get_bin_path();
        }
    }).detach();
    for (int number = 0; number < 5; ++number) {
        const pid_t child = fork();
        require(child >= 0);
        if (child == 0) {
            set_alarm(); // The parent's is not inherited.
            end();
        }
        int status = 0;
        require(waitpid(child, &status, 0) == child);
        require(WIFEXITED(status) && WEXITSTATUS(status) == own_status);
    }
}

void play_to_the_end(const qz_audio_ptr& player)
{
    const auto ended = std::make_shared<event>();
    qz_audio_on_status_change(player, [ended](const qz_audio_ptr&, qz_audio_status status) {
        if (status == qz_audio_status_stopped) {
            ended->set();
        }
    });
    qz_audio_set_repeat(player, false);
    require(ended->wait());
}

} // namespace

int main(int, char** arguments)
{
    set_alarm();
    const std::string way = arguments[1];
    const std::string track = arguments[2];
    qz_audio_set_bin_path("./a path that is long enough for the heap/");
    std::vector<qz_audio_ptr> players(4);
    std::generate(players.begin(), players.end(), [&track] { return start_playing(track); });
    open_for_ever();

    if (way == "exit") {
        exit_now();
    }
    if (way == "exit_in_callback") {
        qz_audio_stop(players.front(), [](const qz_audio_ptr&) { exit_now(); });
        wait_for_exit();
    }
    if (const auto end = child_ends.find(way); end != child_ends.end()) {
        have_children(end->second);
        std::for_each(players.begin(), players.end(), play_to_the_end);
    }
    if (way == "return_while_destroying") {
        for (const auto& player : players) {
            qz_audio_destroy(player, __FILE__, __LINE__);
        }
    }
    if (way == "use_in_static_destructor") {
        user.track = track;
        user.player = players.front();
    }
    return own_status;
}
