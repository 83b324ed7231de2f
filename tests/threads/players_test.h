/// \file
/// \brief What the tests of players on real threads share: the check that nothing is left of them.
#pragma once

#include "event.h"
#include "journal.h"
#include "process.h"
#include "qz_audio/qz_audio.h"
#include "silent_sound.h"
#include "statuses.h"

#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

void destroy(const qz_audio_ptr& player);

/// Waits until the system service has run all that it was given so far.
[[nodiscard]] bool wait_for_callbacks();

/// The statuses that a player tells from now on. Takes its status callback.
class status_log
{
public:
    explicit status_log(const qz_audio_ptr& player);

    /// Waits for the next time that `status` is told, after the last one that was waited for. Returns
    /// false when patience ran out.
    [[nodiscard]] bool wait_for(qz_audio_status status);

private:
    struct told;
    std::shared_ptr<told> told_;
};

/// Lets the player play its track over and over.
void play_for_ever(const qz_audio_ptr& player);

/// Brings a new player to `status`, and clears its status callback.
void bring_to(const qz_audio_ptr& player, qz_audio_status status);

/// At the end of each test all its players must be gone, and their threads and file descriptors with
/// them.
class PlayersTest : public testing::Test
{
protected:
    PlayersTest();
    void TearDown() override;

    /// Any thread.
    qz_audio_ptr make_player();

    /// How many of the players are left, or at least their thread services.
    std::size_t players_alive();

    /// The test opens open players: what they had before is never released.
    void expect_lost_outputs() { loses_outputs_ = true; }

private:
    std::size_t descriptors_;
    bool loses_outputs_ = false;
    std::mutex mutex_;
    struct watched {
        boost::weak_ptr<_qz_audio> player;
        boost::weak_ptr<_qz_thread_service> service;
    };
    std::vector<watched> players_;
};
