// Many players that do nothing.
//
// usage: idle_players COUNT

#include "idle_run.h"

#include "qz_audio/qz_audio.h"

#include <boost/smart_ptr/weak_ptr.hpp>

#include <algorithm>
#include <vector>

namespace
{

class idle_players
{
public:
    explicit idle_players(int count)
    {
        for (int i = 0; i < count; ++i) {
            players_.push_back(qz_audio_new());
        }
    }

    void end()
    {
        const std::vector<boost::weak_ptr<_qz_audio>> remains(players_.begin(), players_.end());
        for (const qz_audio_ptr& player : players_) {
            qz_audio_destroy(player, __FILE__, __LINE__);
        }
        players_.clear();
        wait_until([&remains] {
            return std::all_of(remains.begin(), remains.end(),
                               [](const auto& player) { return player.expired(); });
        });
        constexpr unsigned long this_one_and_system_service = 2;
        wait_until([] { return thread_count() == this_one_and_system_service; });
    }

private:
    std::vector<qz_audio_ptr> players_;
};

} // namespace

int main(int argc, char** argv)
{
    return run_idle<idle_players>(argc, argv);
}
