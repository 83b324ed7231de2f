/// \file
/// \brief What the players are given to play, good and bad.
#pragma once

#include "silent_folder.h"

#include <string>
#include <vector>

class tracks
{
public:
    tracks();

    /// A good one.
    [[nodiscard]] const std::string& good() const { return paths_.front(); }

    /// Any one.
    template <typename Random>
    [[nodiscard]] const std::string& any(Random& random) const
    {
        return paths_.at(random() % paths_.size());
    }

private:
    silent_folder folder_;
    std::vector<std::string> paths_;
};
