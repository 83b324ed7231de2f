#include "captured_output.h"
#include "every_function.h"
#include "on_threads.h"
#include "players_test.h"

#include <cstdlib>
#include <random>
#include <string>

// A program of its own: what a second open leaves behind is no leak of these tests.

/// Asked by LeakSanitizer. A second open on an open player never releases the handles of the first one,
/// as its documentation says.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libmpg123.so\nleak:libout123.so\n";
}

namespace
{

constexpr int rounds = 20;
constexpr unsigned threads = 8;
constexpr int calls = 150;

/// The environment may repeat a run.
unsigned first_seed()
{
    const char* const wanted = std::getenv("QZ_TEST_SEED"); // NOLINT(concurrency-mt-unsafe)
    return wanted != nullptr ? static_cast<unsigned>(std::stoul(wanted)) : std::random_device()();
}

/// A destroy ends what the other calls are for, and an open may leave file descriptors behind.
bool is_seldom(const exported_function& function)
{
    return function.name == "qz_audio_destroy" || function.name == "qz_audio_open";
}

void call_at_random(const qz_audio_ptr& player, unsigned seed)
{
    std::minstd_rand random(seed);
    for (int number = 0; number < calls; ++number) {
        const auto& function = all_functions().at(random() % all_functions().size());
        const auto choice = static_cast<unsigned>(random());
        if (!is_seldom(function) || choice % 50 == 0) {
            function.call(player, choice);
        }
    }
}

/// Eight threads on one player, which is destroyed in the end if none has done so.
void play_round(const qz_audio_ptr& player, unsigned seed)
{
    on_threads(threads, [&](unsigned number) { call_at_random(player, seed + number); });
    destroy(player);
}

class RandomCallsTest : public PlayersTest
{
};

} // namespace

TEST_F(RandomCallsTest, OfEightThreadsOnOnePlayer)
{
    ASSERT_EQ(all_functions().size(), 23U);
    const unsigned seed = first_seed();
    std::cerr << "QZ_TEST_SEED=" << seed << '\n';
    expect_lost_outputs();
    captured_output output;
    for (unsigned round = 0; round < rounds; ++round) {
        play_round(make_player(), seed + round * threads);
        ASSERT_TRUE(wait_until([this] { return players_alive() == 0; }));
    }
    ASSERT_TRUE(wait_for_callbacks());
}
