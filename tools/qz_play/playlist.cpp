#include "playlist.h"

#include <algorithm>
#include <numeric>
#include <utility>

playlist::playlist(std::vector<std::string> paths, std::optional<std::size_t> first, bool shuffled,
                   unsigned seed)
    : paths_(std::move(paths)), order_(paths_.size()), random_(seed)
{
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    place_ = first.value_or(shuffled && !paths_.empty() ? random_() % size() : 0);
    if (!paths_.empty()) {
        set_shuffle(shuffled);
    }
}

void playlist::set_shuffle(bool on)
{
    if (on == shuffled_) {
        return;
    }
    shuffled_ = on;
    const std::size_t current = current_index();
    std::sort(order_.begin(), order_.end());
    place_ = current;
    if (on) {
        std::swap(order_.front(), order_[current]);
        std::shuffle(order_.begin() + 1, order_.end(), random_);
        place_ = 0;
    }
}

void playlist::go_to_next()
{
    const std::size_t last = current_index();
    place_ = (place_ + 1) % size();
    if (place_ == 0 && shuffled_) {
        std::shuffle(order_.begin(), order_.end(), random_);
        // No track is played twice in a row.
        if (current_index() == last && size() > 1) {
            std::swap(order_.front(), order_[1 + random_() % (size() - 1)]);
        }
    }
}

void playlist::go_to_previous()
{
    place_ = (place_ + size() - 1) % size();
}

void playlist::jump(std::size_t index)
{
    const auto current = order_.begin() + static_cast<std::ptrdiff_t>(place_);
    const auto chosen = std::find(order_.begin(), order_.end(), index);
    if (!shuffled_) {
        place_ = index;
    } else if (chosen < current) {
        std::rotate(chosen, chosen + 1, current + 1);
    } else if (chosen > current) {
        std::rotate(current + 1, chosen, chosen + 1);
        ++place_;
    }
}

void playlist::insert(const std::vector<std::string>& paths)
{
    const std::size_t first = current_index() + 1;
    for (std::size_t& index : order_) {
        index += index < first ? 0 : paths.size();
    }
    std::vector<std::size_t> added(paths.size());
    std::iota(added.begin(), added.end(), first);
    ++place_;
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(place_), added.begin(), added.end());
    paths_.insert(paths_.begin() + static_cast<std::ptrdiff_t>(first), paths.begin(), paths.end());
}
