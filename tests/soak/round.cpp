#include "round.h"

#include "event.h"
#include "on_threads.h"
#include "qz_audio/qz_audio.h"

#include <boost/weak_ptr.hpp>

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

namespace
{

using random_numbers = std::minstd_rand;

constexpr unsigned most_players = 4;
constexpr unsigned threads = 2;
constexpr unsigned calls = 30;

/// What is left of a player whose handle has been dropped.
struct remains {
    boost::weak_ptr<_qz_audio> player;
    boost::weak_ptr<_qz_thread_service> service;

    [[nodiscard]] bool are_gone() const { return player.expired() && service.expired(); }
};

void fade(const qz_audio_ptr& player, unsigned choice)
{
    const int target = static_cast<int>(choice % 100);
    qz_audio_set_audio_volume_increment_timeout(player, 1);
    qz_audio_set_audio_volume_decrement_timeout(player, 1);
    if (choice % 2 == 0) {
        qz_audio_volume_increment_timeout_start(player, target);
    } else {
        qz_audio_volume_decrement_timeout_start(player, target);
    }
}

void rest(unsigned choice)
{
    std::this_thread::sleep_for(std::chrono::microseconds(choice % 3000));
}

/// Never an open: on an open player it loses what was open before.
void act(const qz_audio_ptr& player, const tracks& music, random_numbers& random)
{
    const auto choice = static_cast<unsigned>(random());
    switch (random() % 10) {
    case 0:
        return qz_audio_set_audio_track(player, music.any(random));
    case 1:
        return qz_audio_set_audio_track(player, music.good());
    case 2:
    case 3:
        return qz_audio_play(player);
    case 4:
        return qz_audio_pause(player);
    case 5:
        return qz_audio_stop(player, [](qz_audio_ptr by) { qz_audio_get_current_track(by); });
    case 6:
        qz_audio_set_repeat(player, choice % 4 == 0);
        return;
    case 7:
        return qz_audio_set_volume(player, static_cast<int>(choice % 120));
    case 8:
        return fade(player, choice);
    default:
        return rest(choice);
    }
}

/// Callbacks that call back in, and one time in a hundred end their player.
void register_callbacks(const qz_audio_ptr& player, const tracks& music, unsigned seed, tally& done)
{
    // Callbacks run one at a time.
    const auto random = std::make_shared<random_numbers>(seed);
    const auto react = [random, &music](const qz_audio_ptr& by) {
        const auto choice = (*random)() % 100;
        if (choice == 0) {
            qz_audio_destroy(by, __FILE__, __LINE__);
        } else if (choice < 20) {
            act(by, music, *random);
        }
    };
    qz_audio_on_status_change(player, [react, &done](qz_audio_ptr by, qz_audio_status status) {
        done.plays += status == qz_audio_status_playing ? 1 : 0;
        react(by);
    });
    qz_audio_on_volume_change(player, [react](qz_audio_ptr by, int) { react(by); });
    qz_audio_on_error(player, [react](qz_audio_ptr by, int) { react(by); });
}

std::vector<qz_audio_ptr> make_players(const tracks& music, unsigned seed, tally& done)
{
    std::vector<qz_audio_ptr> players(1 + seed % most_players);
    for (auto& each : players) {
        each = qz_audio_new();
        register_callbacks(each, music, ++seed, done);
        ++done.players;
        qz_audio_open(each);
    }
    return players;
}

/// Lets go of the handles, too.
std::vector<remains> destroy(std::vector<qz_audio_ptr>& players)
{
    std::vector<remains> left;
    for (const auto& each : players) {
        left.push_back({each, each->thread_service});
        qz_audio_destroy(each, __FILE__, __LINE__);
    }
    players.clear();
    return left;
}

void wait_for_end(const std::vector<remains>& players)
{
    const auto all_gone = [&] {
        return std::all_of(players.begin(), players.end(),
                           [](const remains& each) { return each.are_gone(); });
    };
    if (!wait_until(all_gone)) {
        throw std::runtime_error("a destroyed player does not end");
    }
}

/// What waits may still call the callbacks of this round.
void wait_for_callbacks()
{
    const auto reached = std::make_shared<event>();
    qz_system_service_exec([reached] { reached->set(); }, __FILE__, __LINE__);
    if (!reached->wait()) {
        throw std::runtime_error("the callbacks do not end");
    }
}

} // namespace

void play_round(const tracks& music, unsigned seed, tally& done)
{
    std::vector<qz_audio_ptr> players = make_players(music, seed, done);
    on_threads(threads, [&](unsigned number) {
        random_numbers random(seed + number);
        for (unsigned call = 0; call < calls; ++call) {
            act(players.at(random() % players.size()), music, random);
        }
    });
    wait_for_end(destroy(players));
    wait_for_callbacks();
}
