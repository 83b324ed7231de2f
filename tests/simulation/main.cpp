// Runs simulations of the player, seed by seed, and shows the first defect.
#include "apart.h"
#include "shorten.h"

#include <getopt.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

namespace
{

using namespace simulation;

struct options {
    range seeds{1, 1000};
    unsigned processes = std::max(1U, std::thread::hardware_concurrency());
    std::optional<std::uint64_t> schedule;
    std::string only;
    bool trace = false;
    bool replays = false;
};

constexpr const char* usage =
    "Usage: qz_simulate [--first SEED] [--seeds COUNT] [--jobs COUNT]\n"
    "       qz_simulate --first SEED [--schedule SEED] [--only COMMAND,...] --replay|--trace\n";

[[noreturn]] void explain_usage()
{
    std::fputs(usage, stderr);
    std::exit(2);
}

std::uint64_t to_number(const char* text)
{
    char* end = nullptr;
    const std::uint64_t number = std::strtoull(text, &end, 10);
    if (end == text || *end != '\0') {
        explain_usage();
    }
    return number;
}

enum option_code { first, seeds, jobs, schedule, only, replay, trace };

options parse(int argc, char** argv)
{
    static constexpr option known[] = {{"first", required_argument, nullptr, first},
                                       {"seeds", required_argument, nullptr, seeds},
                                       {"jobs", required_argument, nullptr, jobs},
                                       {"schedule", required_argument, nullptr, schedule},
                                       {"only", required_argument, nullptr, only},
                                       {"replay", no_argument, nullptr, replay},
                                       {"trace", no_argument, nullptr, trace},
                                       {nullptr, 0, nullptr, 0}};
    options asked;
    int code = 0;
    while ((code = getopt_long(argc, argv, "", known, nullptr)) != -1) {
        switch (code) {
        case first:
            asked.seeds.first = to_number(optarg);
            break;
        case seeds:
            asked.seeds.count = to_number(optarg);
            break;
        case jobs:
            asked.processes = static_cast<unsigned>(std::max<std::uint64_t>(1, to_number(optarg)));
            break;
        case schedule:
            asked.schedule = to_number(optarg);
            break;
        case only:
            asked.only = optarg;
            break;
        case trace:
            asked.trace = true;
            [[fallthrough]];
        case replay:
            asked.replays = true;
            break;
        default:
            explain_usage();
        }
    }
    return asked;
}

void keep_only(programme& of, const std::string& commands)
{
    of.kept.assign(of.kept.size(), false);
    std::istringstream list(commands);
    std::string each;
    while (std::getline(list, each, ',')) {
        of.kept.at(to_number(each.c_str())) = true;
    }
}

std::string kept(const programme& of)
{
    std::string list;
    for (std::size_t i = 0; i < of.kept.size(); ++i) {
        if (of.kept[i]) {
            list += (list.empty() ? "" : ",") + std::to_string(i);
        }
    }
    return list;
}

void print(const defect& found)
{
    std::printf("broken: %s\n        %s\n%s", found.invariant.c_str(), found.text.c_str(),
                describe(found.shown_by).c_str());
}

int replay_programme(const options& set)
{
    programme to_run = draw_programme(set.seeds.first);
    to_run.schedule = set.schedule.value_or(to_run.schedule);
    if (!set.only.empty()) {
        keep_only(to_run, set.only);
    }
    const auto found = run_apart(to_run, set.trace);
    if (found) {
        print(*found);
    }
    return found ? EXIT_FAILURE : EXIT_SUCCESS;
}

void report(const defect& found)
{
    const auto seed = static_cast<unsigned long long>(found.shown_by.seed);
    std::printf("seed %llu has failed\n", seed);
    print(found);
    const defect shortened = shorten(found);
    std::printf("shortened:\n");
    print(shortened);
    std::printf("again: qz_simulate --replay --first %llu\n", seed);
    std::printf("       qz_simulate --replay --first %llu --schedule %llu --only %s\n", seed,
                static_cast<unsigned long long>(shortened.shown_by.schedule),
                kept(shortened.shown_by).c_str());
}

int run_campaign(const options& set)
{
    const auto start = std::chrono::steady_clock::now();
    const tally total = run_seeds(set.seeds, set.processes);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    if (total.first_defect) {
        report(*total.first_defect);
    }
    std::printf("%llu seeds, %llu steps, %.1f s\n", static_cast<unsigned long long>(total.seeds),
                static_cast<unsigned long long>(total.steps), taken.count());
    return total.first_defect ? EXIT_FAILURE : EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv)
{
    const options set = parse(argc, argv);
    return set.replays ? replay_programme(set) : run_campaign(set);
}
