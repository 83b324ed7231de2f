// For callgrind: repeats each call, ours and by hand, and has it dump what was executed meanwhile under
// the name of the call.
//
// usage: setting_call_instructions ROUNDS

#include "setting_calls.h"

#include <valgrind/callgrind.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace
{

template <typename Work, typename Subject>
void count(const std::string& name, int rounds, Work work, Subject& subject)
{
    work(subject); // what only a first call costs
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < rounds; ++i) {
        work(subject);
    }
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

/// What a status query reports to the platform, and nothing else.
void report_status(const qz_audio_ptr&)
{
    qz_assertion_faild(
        true, "qz_property_get_extract<qz_audio_status> (property_list,\"status\",&status)",
        "status", "src/qz_audio/qz_audio_settings.cpp", 1);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fputs("usage: setting_call_instructions ROUNDS\n", stderr);
        return 1;
    }
    const int rounds = std::atoi(argv[1]);
    const qz_audio_ptr player = qz_audio_new();
    const auto settings = new_settings_by_hand();
    for (const setting_call& call : setting_calls) {
        count(call.name, rounds, call.ours, player);
        count(std::string(call.name) + " by hand", rounds, call.by_hand, *settings);
    }
    for (const player_call& call : player_calls) {
        count(call.name, rounds, call.ours, player);
    }
    count("qz_assertion_faild", rounds, report_status, player);
    qz_audio_destroy(player, __FILE__, __LINE__);
    return 0;
}
