#include "support_player.h"

#include "event.h"
#include "statuses.h"

#include <gtest/gtest.h>

#include <algorithm>

told_player::told_player() : player_(qz_audio_new())
{
    qz_audio_on_status_change(player_, [journal = journal_](const qz_audio_ptr&, auto status) {
        journal->add(status_name(status));
    });
    qz_audio_on_error(player_, [journal = journal_](const qz_audio_ptr&, int code) {
        journal->add("error " + std::to_string(code));
    });
    qz_audio_on_volume_change(player_, [journal = journal_](const qz_audio_ptr&, int volume) {
        journal->add("volume " + std::to_string(volume));
    });
}

told_player::~told_player()
{
    end();
}

bool told_player::tells(const std::string& word)
{
    const std::lock_guard<std::mutex> lock(journal_->mutex);
    const auto begin = journal_->words.begin();
    const auto end = journal_->words.end();
    const auto at = std::find(begin + static_cast<std::ptrdiff_t>(journal_->found), end, word);
    if (at == end) {
        return false;
    }
    journal_->found = static_cast<std::size_t>(at - begin) + 1;
    return true;
}

bool told_player::waits_for(const std::string& word)
{
    return wait_until([&] { return tells(word); });
}

bool told_player::plays(const std::string& track)
{
    qz_audio_set_audio_track(player_, track);
    qz_audio_play(player_);
    return waits_for("stopped");
}

void told_player::destroy()
{
    destroyed_ = player_;
    qz_audio_destroy(player_, __FILE__, __LINE__);
    player_.reset();
}

std::vector<std::string> told_player::end()
{
    if (player_) {
        destroy();
    }
    EXPECT_TRUE(wait_until([&] { return destroyed_.expired(); })) << "the player does not end";
    const std::lock_guard<std::mutex> lock(journal_->mutex);
    return journal_->words;
}

void told_player::journal::add(const std::string& word)
{
    const std::lock_guard<std::mutex> lock(mutex);
    words.push_back(word);
}
