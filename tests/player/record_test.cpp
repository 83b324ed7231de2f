#include "player_test.h"

#include <vector>

using RecordTest = PlayerTest;

TEST_F(RecordTest, StartsEmptyAtFullVolume)
{
    const _audio_data& fresh = record();
    EXPECT_EQ(fresh.mh, nullptr);
    EXPECT_EQ(fresh.ao, nullptr);
    EXPECT_EQ(fresh.volume, 100);
    EXPECT_EQ(fresh.error, 0);
    EXPECT_FALSE(fresh.repeat);
    EXPECT_EQ(fresh.channels, 0);
    EXPECT_EQ(fresh.encoding, 0);
    EXPECT_EQ(fresh.rate, 0);
    EXPECT_EQ(fresh.framesize, 0);
    EXPECT_EQ(fresh.buffer_size, 0U);
    EXPECT_EQ(fresh.done, 0U);
    EXPECT_EQ(fresh.buffer, nullptr);
    EXPECT_EQ(fresh.device, nullptr);
    EXPECT_EQ(fresh.driver, nullptr);
    EXPECT_FALSE(fresh.in_play);
    EXPECT_EQ(fresh.status, qz_audio_status_none);
}

TEST_F(RecordTest, KeepsItsFieldsInOrder)
{
    const _audio_data& data = record();
    const std::vector<const void*> fields{
        &data.mh,        &data.ao,          &data.volume,   &data.error,
        &data.repeat,    &data.channels,    &data.encoding, &data.rate,
        &data.framesize, &data.buffer_size, &data.done,     &data.buffer,
        &data.device,    &data.driver,      &data.in_play,  &data.status};
    for (std::size_t next = 1; next < fields.size(); ++next) {
        EXPECT_LT(fields[next - 1], fields[next]) << next;
    }
}

TEST_F(RecordTest, ThePlayersMembersAreInOrder)
{
    EXPECT_LT(static_cast<const void*>(&player->thread_service),
              static_cast<const void*>(&player->volume_interval_id));
    EXPECT_LT(&player->volume_interval_id, &player->play_generation);
}

TEST_F(RecordTest, TheValuesOfTheStatusesAreFixed)
{
    int value = 0;
    for (const auto each : all_statuses()) {
        EXPECT_EQ(static_cast<int>(each), value++);
    }
    EXPECT_EQ(sizeof(qz_audio_status), sizeof(int));
}

TEST_F(RecordTest, IsReadUnderTheLockAndThroughItsGuardedCall)
{
    platform::watch_locks();
    qz_audio_open(player);
    platform::run_all();
    const auto made = calls_since();
    const auto& read = made.at(1);
    EXPECT_EQ(read.text(),
              "qz_assertion_faild(true, "
              "\"qz_property_get_extract<_audio_data*>(ptr->property_list,\"audio_data\",&data)\", "
              "\"audio_data\")");
    EXPECT_TRUE(read.locked);
    EXPECT_EQ(read.thread, "audio");
}

/// The status is there twice, and the two agree after each step.
TEST_F(RecordTest, AgreesWithThePropertyWhenAStatusIsReported)
{
    unsigned reports = 0;
    for (unsigned report = 1; report <= 4; ++report) {
        at_call(
            "qz_system_service_exec",
            [&] {
                EXPECT_EQ(property<qz_audio_status>("status"), record().status);
                ++reports;
            },
            report);
    }
    observe(player);
    bring_to(qz_audio_status_stopped);
    EXPECT_EQ(reports, 4U) << "opened, loaded, playing, stopped";
}
