/// \file
/// \brief The tracks and the order in which they are played.
#pragma once

#include <cstddef>
#include <optional>
#include <random>
#include <string>
#include <vector>

/// A list with a current track. Shuffling changes the order in which the tracks are played, but not their
/// indexes, which start at 0. If the list is empty, only `size` may be called.
class playlist
{
public:
    /// Starts with the track at the index `first`. Without it, starts with the first track, or with a random one
    /// if shuffled. `seed` determines how the list is shuffled.
    explicit playlist(std::vector<std::string> paths = {}, std::optional<std::size_t> first = {},
                      bool shuffled = false, unsigned seed = std::random_device{}());

    [[nodiscard]] std::size_t size() const { return paths_.size(); }
    [[nodiscard]] std::size_t current_index() const { return order_[place_]; }
    [[nodiscard]] const std::string& current() const { return paths_[current_index()]; }
    [[nodiscard]] const std::string& path(std::size_t index) const { return paths_[index]; }
    [[nodiscard]] bool loops() const { return loops_; }
    [[nodiscard]] bool is_shuffled() const { return shuffled_; }

    /// Makes the list start again after its last track; if shuffled, in a new order.
    void set_loop(bool on) { loops_ = on; }

    /// Shuffles the list, and the current track becomes the first; or restores the order, and the list continues
    /// after the current track.
    void set_shuffle(bool on);

    [[nodiscard]] bool has_next() const { return loops_ || place_ + 1 < size(); }
    [[nodiscard]] bool has_previous() const { return loops_ || place_ > 0; }
    /// Call it only if `has_next`.
    void go_to_next();
    /// Call it only if `has_previous`.
    void go_to_previous();
    /// Goes to the track at `index`, which is less than `size`. If shuffled, the tracks that have not been played
    /// yet stay in the round.
    void jump(std::size_t index);

    /// Inserts tracks, at least one, after the current one, and goes to the first of them. The indexes of the
    /// later tracks increase.
    void insert(const std::vector<std::string>& paths);

private:
    std::vector<std::string> paths_;
    std::vector<std::size_t>
        order_;             ///< The tracks' indexes, in the order in which they are played.
    std::size_t place_ = 0; ///< Of the current track in `order_`.
    bool loops_ = false;
    bool shuffled_ = false;
    std::mt19937 random_;
};
