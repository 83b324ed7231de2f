/// \file
/// \brief The tracks and the order in which they are played.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

/// A list with a place in it. Shuffling changes the order of playing and no track's number.
class track_list
{
public:
    /// Begins with the track of the number `first`; `seed` decides how it is shuffled.
    explicit track_list(std::vector<std::string> paths, std::size_t first = 0,
                        unsigned seed = std::random_device{}());

    [[nodiscard]] std::size_t size() const { return paths_.size(); }
    [[nodiscard]] const std::string& current() const { return paths_[number()]; }

    /// Returns the current track's number, counted from 0.
    [[nodiscard]] std::size_t number() const { return order_[place_]; }

    [[nodiscard]] bool loops() const { return loops_; }
    [[nodiscard]] bool shuffled() const { return shuffled_; }

    /// Lets the list begin anew behind its last track.
    void set_loop(bool on) { loops_ = on; }

    /// Shuffles what comes, with the current track as the first, or restores the order and goes on
    /// from the current track.
    void set_shuffle(bool on);

    [[nodiscard]] bool has_next() const { return loops_ || place_ + 1 < order_.size(); }
    [[nodiscard]] bool has_previous() const { return loops_ || place_ > 0; }

    /// To be called where there is a next one.
    void go_to_next();

    /// To be called where there is a previous one.
    void go_to_previous();

    /// Adds tracks, at least one, behind the current one in the order of playing and goes to their first.
    void insert(const std::vector<std::string>& paths);

private:
    std::vector<std::string> paths_;
    std::vector<std::size_t> order_; ///< Of playing, by the tracks' numbers.
    std::size_t place_;              ///< In the order.
    bool loops_ = false;
    bool shuffled_ = false;
    std::mt19937 random_;
};
