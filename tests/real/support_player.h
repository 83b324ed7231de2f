/// \file
/// \brief A player whose notifications a test can wait for.
#pragma once

#include "qz_audio/qz_audio.h"

#include <boost/weak_ptr.hpp>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// A player and all that it tells, as words in order: "opened", "error 18", "volume 50".
class told_player
{
public:
    told_player();

    /// Ends the player, and waits until it is gone.
    ~told_player();

    told_player(const told_player&) = delete;
    told_player& operator=(const told_player&) = delete;

    [[nodiscard]] const qz_audio_ptr& handle() const { return player_; }

    /// Returns whether `word` has come since the word that this found last.
    bool tells(const std::string& word);

    /// Waits until `word` has come since the word that was found last; returns whether it came.
    bool waits_for(const std::string& word);

    /// Sets the track and plays it to its end; returns whether the end came.
    bool plays(const std::string& track);

    /// Asks for the player's end and drops the handle.
    void destroy();

    /// Destroys the player, if that has not been asked for, waits until it is gone, and returns all that
    /// it has told.
    std::vector<std::string> end();

private:
    struct journal {
        void add(const std::string& word);

        std::mutex mutex;
        std::vector<std::string> words;
        std::size_t found = 0;
    };

    std::shared_ptr<journal> journal_ = std::make_shared<journal>();
    qz_audio_ptr player_;
    boost::weak_ptr<_qz_audio> destroyed_;
};
