#include "captured_output.h"
#include "failing_threads.h"
#include "players_test.h"

#include <string>
#include <system_error>

namespace
{

/// Counted under the same name as the players, to ask how many of them are alive.
class counter : public _qz_object
{
public:
    boost::shared_ptr<_qz_object> shared_object() override { return nullptr; }
    std::string type_tag() override { return "[qz_audio]"; }
    void destroy(std::string, int) override {}
};

std::string description_of_count()
{
    captured_output output;
    counter().describe();
    return output.steps().front();
}

using StartFailureTest = PlayersTest;

} // namespace

// That no thread is left is checked after each test.

TEST_F(StartFailureTest, OfAPlayersThreadIsAnExceptionAndNothingIsCounted)
{
    {
        const failing_threads failing;
        for (int attempt = 0; attempt < 10; ++attempt) {
            EXPECT_THROW(qz_audio_new(), std::system_error);
        }
    }
    EXPECT_THAT(description_of_count(), testing::HasSubstr(", 0 alive,"));
    const qz_audio_ptr player = make_player();
    EXPECT_THAT(description_of_count(), testing::HasSubstr(", 1 alive,"));
    play_for_ever(player);
    destroy(player);
}

TEST_F(StartFailureTest, OfOnePlayersThreadLeavesTheOthersAlone)
{
    const qz_audio_ptr player = make_player();
    status_log log(player);
    const failing_threads failing;
    EXPECT_THROW(qz_audio_new(), std::system_error);
    play_for_ever(player);
    EXPECT_TRUE(log.wait_for(qz_audio_status_playing));
    destroy(player);
    EXPECT_TRUE(log.wait_for(qz_audio_status_none));
}
