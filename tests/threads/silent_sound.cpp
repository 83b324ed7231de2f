#include "silent_sound.h"

#include "silent_folder.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace
{

class silent_sound : public testing::Environment
{
public:
    void SetUp() override
    {
        folder_.emplace();
        track = folder_->put("silence.mp3", silent_frames());
        other_track = folder_->put("other_silence.mp3", other_silent_frames());
        broken = folder_->put("broken.mp3", std::string(5000, 'x'));
    }

    void TearDown() override { folder_.reset(); }

    std::string track;
    std::string other_track;
    std::string broken;

private:
    std::optional<silent_folder> folder_;
};

// GoogleTest owns it.
const auto* const sound =
    dynamic_cast<silent_sound*>(testing::AddGlobalTestEnvironment(new silent_sound));

} // namespace

const std::string& silent_track()
{
    return sound->track;
}

const std::string& other_silent_track()
{
    return sound->other_track;
}

const std::string& broken_track()
{
    return sound->broken;
}
