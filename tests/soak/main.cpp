// Keeps players busy for minutes and prints, minute by minute, what the process holds. Fails when that has
// grown since the first minute, or when a player does not end.

#include "event.h"
#include "reading.h"
#include "round.h"

#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <iomanip>
#include <iostream>
#include <optional>
#include <random>
#include <string>
#include <thread>

namespace
{

using wall_clock = std::chrono::steady_clock;

constexpr std::chrono::minutes minute(1);
constexpr int least_minutes = 2;

struct options {
    int minutes;
    unsigned seed;
};

options read_options(const std::vector<std::string>& words)
{
    const int minutes = words.empty() ? 0 : std::stoi(words[0]);
    if (minutes < least_minutes) {
        throw std::invalid_argument("usage: qz_soak MINUTES [SEED]   with MINUTES 2 or more");
    }
    return {minutes, words.size() > 1 ? static_cast<unsigned>(std::stoul(words[1]))
                                      : std::random_device()()};
}

/// The output takes sound as fast as it is decoded: only rests keep the machine free for others.
void rest_after(std::clock_t cpu_before)
{
    const auto used = static_cast<double>(std::clock() - cpu_before) / CLOCKS_PER_SEC;
    std::this_thread::sleep_for(std::chrono::duration<double>(used));
}

class soak
{
public:
    explicit soak(const options& wanted)
        : minutes_(wanted.minutes), seed_(wanted.seed), table_(std::cout.rdbuf())
    {
        // The libraries say there what they think of bad tracks and of a second destroy.
        std::cout.rdbuf(nullptr);
        static_cast<void>(std::freopen("/dev/null", "w", stderr));
    }
    ~soak() { std::cout.rdbuf(table_.rdbuf()); }
    soak(const soak&) = delete;
    soak& operator=(const soak&) = delete;

    /// Returns what has grown.
    std::string run()
    {
        table_ << "seed " << seed_
               << "\nminute   players     plays  resident KiB  threads  descriptors\n"
               << std::flush;
        const auto start = wall_clock::now();
        std::optional<reading> first;
        reading last{};
        for (int number = 1; number <= minutes_; ++number) {
            play_until(start + number * minute);
            last = read();
            print(number, last);
            first = first.value_or(last);
        }
        return find_growth(*first, last);
    }

private:
    void play_until(wall_clock::time_point end)
    {
        while (wall_clock::now() < end) {
            const std::clock_t cpu_before = std::clock();
            play_round(music_, seed_++, done_);
            rest_after(cpu_before);
        }
    }

    /// Threads leave a little later than their players. Where they do not, the reading tells.
    reading read()
    {
        constexpr std::size_t this_one_and_system_service = 2;
        reading now = take_reading();
        static_cast<void>(wait_until([&] {
            now = take_reading();
            return now.threads == this_one_and_system_service;
        }));
        return now;
    }

    void print(int number, const reading& now)
    {
        table_ << std::setw(6) << number << std::setw(10) << done_.players << std::setw(10)
               << done_.plays << std::setw(14) << now.resident << std::setw(9) << now.threads
               << std::setw(13) << now.descriptors << std::endl;
    }

    const int minutes_;
    unsigned seed_;
    std::ostream table_;
    tracks music_;
    tally done_;
};

int run(const std::vector<std::string>& words)
{
    const std::string growth = soak(read_options(words)).run();
    std::cout << (growth.empty() ? "nothing has grown\n" : growth);
    return growth.empty() ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& exception) {
        std::cout << exception.what() << '\n';
        return 1;
    }
}
