#include "playlist/track_list.h"

#include <algorithm>
#include <numeric>
#include <utility>

track_list::track_list(std::vector<std::string> paths, std::size_t first, unsigned seed)
    : paths_(std::move(paths)), order_(paths_.size()), place_(first), random_(seed)
{
    std::iota(order_.begin(), order_.end(), std::size_t{0});
}

void track_list::set_shuffle(bool on)
{
    if (on == shuffled_) {
        return;
    }
    shuffled_ = on;
    const std::size_t current = number();
    std::sort(order_.begin(), order_.end());
    if (on) {
        std::swap(order_.front(), order_[current]);
        std::shuffle(order_.begin() + 1, order_.end(), random_);
    }
    place_ = on ? 0 : current;
}

void track_list::go_to_next()
{
    place_ = (place_ + 1) % order_.size();
}

void track_list::go_to_previous()
{
    place_ = (place_ + order_.size() - 1) % order_.size();
}

void track_list::insert(const std::vector<std::string>& paths)
{
    std::vector<std::size_t> numbers(paths.size());
    std::iota(numbers.begin(), numbers.end(), paths_.size());
    paths_.insert(paths_.end(), paths.begin(), paths.end());
    ++place_;
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(place_), numbers.begin(),
                  numbers.end());
}
