/// \file
/// \brief All 23 functions, each as a call with arguments of its own choosing.
#pragma once

#include "qz_audio/qz_audio.h"

#include <functional>
#include <string>
#include <vector>

struct exported_function {
    std::string name;
    /// Calls the function with this player, with arguments picked by `choice`.
    std::function<void(const qz_audio_ptr&, unsigned choice)> call;
};

const std::vector<exported_function>& all_functions();
