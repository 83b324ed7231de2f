#include "captured_output.h"
#include "on_threads.h"
#include "system/qz_system.h"

#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <utility>

using testing::ElementsAre;

namespace
{

class test_object : public _qz_object
{
public:
    explicit test_object(std::string tag = "[test]", std::function<void()> at_destruction = nullptr)
        : tag_(std::move(tag)), at_destruction_(std::move(at_destruction))
    {
    }
    ~test_object() override
    {
        if (at_destruction_) {
            at_destruction_();
        }
    }
    boost::shared_ptr<_qz_object> shared_object() override
    {
        return boost::static_pointer_cast<_qz_object>(shared_from_this());
    }
    std::string type_tag() override { return tag_; }
    void destroy(std::string, int) override {}

private:
    std::string tag_;
    std::function<void()> at_destruction_;
};

using object_ptr = boost::shared_ptr<_qz_object>;

object_ptr make_object(std::function<void()> at_destruction = nullptr)
{
    return object_ptr(new test_object("[test]", std::move(at_destruction)));
}

std::string description_of(_qz_object& object)
{
    captured_output output;
    object.describe();
    const auto steps = output.steps();
    EXPECT_THAT(steps, ElementsAre(testing::_, "flush"));
    return steps.front();
}

std::string address_of(const _qz_object& object)
{
    std::ostringstream text;
    text << static_cast<const void*>(&object);
    return text.str();
}

/// The numbers of streams that are made while this lives have a comma before each three digits.
class grouped_numbers
{
public:
    grouped_numbers() : before_(std::locale::global({std::locale(), new in_threes})) {}
    ~grouped_numbers() { std::locale::global(before_); }
    grouped_numbers(const grouped_numbers&) = delete;
    grouped_numbers& operator=(const grouped_numbers&) = delete;

private:
    class in_threes : public std::numpunct<char>
    {
    private:
        [[nodiscard]] char do_thousands_sep() const override { return ','; }
        [[nodiscard]] std::string do_grouping() const override { return "\3"; }
    };

    std::locale before_;
};

} // namespace

TEST(ObjectTest, StartsWithObjectDestroyedFalseAndAnUnlockedMutex)
{
    const object_ptr object = make_object();
    ASSERT_EQ(object->property_list.size(), 1U);
    const auto& [name, value] = *object->property_list.begin();
    EXPECT_EQ(name, "object-destroyed");
    EXPECT_FALSE(boost::any_cast<bool>(value));
    EXPECT_TRUE(object->property_mutex.try_lock());
    object->property_mutex.unlock();
    EXPECT_FALSE(object->is_reffed());
}

TEST(ObjectTest, HandsOutSharedOwnershipOnlyWhenOwned)
{
    test_object unowned;
    EXPECT_THROW(unowned.shared_object(), boost::bad_weak_ptr);
    const object_ptr object = make_object();
    EXPECT_EQ(object->shared_object(), object);
}

TEST(ObjectTest, PropertyLockIsThePropertyMutex)
{
    const object_ptr object = make_object();
    object->property_lock(__FILE__, __LINE__);
    std::thread([&object] { EXPECT_FALSE(object->property_mutex.try_lock()); }).join();
    object->property_unlock();
    EXPECT_TRUE(object->property_mutex.try_lock());
    object->property_mutex.unlock();
}

TEST(ObjectTest, PropertyLockWaitsForTheOtherThread)
{
    const object_ptr object = make_object();
    int value = 0;
    object->property_lock(__FILE__, __LINE__);
    std::thread other([&] {
        object->property_lock(__FILE__, __LINE__);
        EXPECT_EQ(value, 1);
        object->property_unlock();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    value = 1;
    object->property_unlock();
    other.join();
}

// Reading a property.

TEST(PropertyGetTest, CopiesAValueThatIsThere)
{
    property_list list{{"name", std::string("value")}};
    boost::any value;
    EXPECT_TRUE(qz_property_get(list, "name", value));
    EXPECT_EQ(boost::any_cast<std::string>(value), "value");
    boost::any_cast<std::string&>(value) = "changed";
    EXPECT_EQ(boost::any_cast<std::string>(list.at("name")), "value");
}

TEST(PropertyGetTest, LeavesTheArgumentWhenThereIsNone)
{
    property_list list{{"name", 1}};
    boost::any value = 5;
    EXPECT_FALSE(qz_property_get(list, "nam", value));
    EXPECT_EQ(boost::any_cast<int>(value), 5);
    EXPECT_EQ(list.size(), 1U);
}

TEST(PropertyGetTest, TakesNoLock)
{
    const object_ptr object = make_object();
    const std::lock_guard<std::mutex> lock(object->property_mutex);
    boost::any value;
    EXPECT_TRUE(qz_property_get(object->property_list, "object-destroyed", value));
}

// The registry.

TEST(RegistryTest, KeepsAnObjectAliveUntilItLetsGo)
{
    bool gone = false;
    boost::weak_ptr<_qz_object> watch;
    {
        const object_ptr object = make_object([&gone] { gone = true; });
        watch = object;
        qz_object_ref(object);
        EXPECT_TRUE(object->is_reffed());
    }
    ASSERT_FALSE(gone);
    qz_object_unref_real(watch.lock());
    EXPECT_TRUE(gone);
}

TEST(RegistryTest, LetsGoOfAnObjectThatOthersOwn)
{
    const object_ptr object = make_object();
    qz_object_ref(object);
    qz_object_unref_real(object);
    EXPECT_FALSE(object->is_reffed());
    EXPECT_EQ(object.use_count(), 1);
}

TEST(RegistryTest, HoldsAnObjectOnceHoweverOftenItIsAsked)
{
    const object_ptr object = make_object();
    qz_object_ref(object);
    qz_object_ref(object);
    EXPECT_EQ(object.use_count(), 2);
    qz_object_unref_real(object);
    EXPECT_FALSE(object->is_reffed());
    EXPECT_EQ(object.use_count(), 1);
}

TEST(RegistryTest, LettingGoOfWhatItDoesNotHoldDoesNothing)
{
    const object_ptr object = make_object();
    qz_object_unref_real(object);
    EXPECT_FALSE(object->is_reffed());
    EXPECT_EQ(object.use_count(), 1);
}

TEST(RegistryTest, TellsItsObjectsApart)
{
    const object_ptr first = make_object();
    const object_ptr second = make_object();
    const object_ptr third = make_object();
    qz_object_ref(first);
    qz_object_ref(second);
    qz_object_ref(third);
    qz_object_unref_real(second);
    EXPECT_TRUE(first->is_reffed());
    EXPECT_FALSE(second->is_reffed());
    EXPECT_TRUE(third->is_reffed());
    qz_object_unref_real(first);
    qz_object_unref_real(third);
}

TEST(RegistryTest, MayBeCalledByTheDestructorOfTheObjectThatItLetsGo)
{
    const object_ptr other = make_object();
    boost::weak_ptr<_qz_object> watch;
    {
        const object_ptr object = make_object([&other] {
            qz_object_ref(other);
            EXPECT_TRUE(other->is_reffed());
            qz_object_ref_increment("[test]");
            qz_object_ref_decrement("[test]");
        });
        watch = object;
        qz_object_ref(object);
    }
    qz_object_unref_real(watch.lock());
    EXPECT_TRUE(other->is_reffed());
    qz_object_unref_real(other);
    EXPECT_EQ(other.use_count(), 1);
}

TEST(RegistryTest, ServesManyThreads)
{
    const object_ptr shared = make_object();
    std::atomic<int> destroyed{0};
    on_threads(8, [&](unsigned) {
        for (int round = 0; round < 500; ++round) {
            const object_ptr own = make_object([&destroyed] { ++destroyed; });
            qz_object_ref(own);
            qz_object_ref(shared);
            qz_object_ref_increment("[shared]");
            EXPECT_TRUE(own->is_reffed());
            qz_object_ref_decrement("[shared]");
            qz_object_unref_real(shared);
            qz_object_unref_real(own);
        }
    });
    EXPECT_EQ(destroyed, 8 * 500);
    EXPECT_FALSE(shared->is_reffed());
    EXPECT_EQ(shared.use_count(), 1);
    test_object counter("[shared]");
    EXPECT_THAT(description_of(counter), testing::HasSubstr(", 0 alive,"));
}

// The description.

TEST(DescribeTest, TellsTagAddressRegistryStateAndEachPropertysNameAndType)
{
    const object_ptr object = make_object();
    object->property_list["volume"] = 100;
    object->property_list["audio_track"] = std::string("song");
    qz_object_ref_increment("[test]");
    EXPECT_EQ(
        description_of(*object),
        "[test] at " + address_of(*object) +
            ", not held by the registry, 1 alive, properties: audio_track "
            "(std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >) "
            "object-destroyed (bool) volume (int)\n");
    qz_object_ref_decrement("[test]");

    qz_object_ref(object);
    object->property_list = {{"empty", boost::any()}};
    EXPECT_EQ(description_of(*object),
              "[test] at " + address_of(*object) +
                  ", held by the registry, 0 alive, properties: empty (void)\n");
    qz_object_unref_real(object);
}

TEST(DescribeTest, GroupsNoDigitsWhateverTheGlobalLocale)
{
    constexpr int count = 1000;
    test_object object("[many]");
    const std::string expected =
        "[many] at " + address_of(object) + ", not held by the registry, 1000 alive,";
    for (int number = 0; number < count; ++number) {
        qz_object_ref_increment("[many]");
    }
    {
        const grouped_numbers globally;
        EXPECT_THAT(description_of(object), testing::StartsWith(expected));
    }
    for (int number = 0; number < count; ++number) {
        qz_object_ref_decrement("[many]");
    }
}

TEST(DescribeTest, TakesNeitherThePropertyMutexNorThePropertyLock)
{
    const object_ptr object = make_object();
    {
        const std::lock_guard<std::mutex> lock(object->property_mutex);
        EXPECT_THAT(description_of(*object), testing::StartsWith("[test] at "));
    }
    object->property_lock(__FILE__, __LINE__);
    EXPECT_THAT(description_of(*object), testing::StartsWith("[test] at "));
    object->property_unlock();
}

TEST(DescribeTest, ReportsNoneAliveOfAKindThatWasNeverCounted)
{
    test_object object("[never counted]", nullptr);
    EXPECT_THAT(description_of(object), testing::HasSubstr(", 0 alive,"));
}

TEST(DescribeTest, CountsEachKindOnItsOwn)
{
    test_object one("[one]");
    test_object two("[two]");
    for (int count = 0; count < 3; ++count) {
        qz_object_ref_increment("[one]");
    }
    qz_object_ref_increment("[two]");
    qz_object_ref_decrement("[one]");
    EXPECT_THAT(description_of(one), testing::HasSubstr(", 2 alive,"));
    EXPECT_THAT(description_of(two), testing::HasSubstr(", 1 alive,"));
    qz_object_ref_decrement("[one]");
    qz_object_ref_decrement("[one]");
    qz_object_ref_decrement("[two]");
    EXPECT_THAT(description_of(one), testing::HasSubstr(", 0 alive,"));
}
