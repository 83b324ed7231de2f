#include "qz_audio/qz_audio_property.h"

#include "failing_allocation.h"
#include "player_test.h"

#include <new>
#include <vector>

using on_code = std::function<void(qz_audio_ptr, int)>;
using on_status = std::function<void(qz_audio_ptr, qz_audio_status)>;

namespace
{

_audio_data records[2];

/// Two different values of each type of property, and how to tell them apart.
template <typename T>
struct samples {
    static T first() { return T{}; }
    static T second() { return T{1}; }
    static bool is_first(const T& value) { return value == first(); }
};

template <>
struct samples<std::string> {
    static std::string first() { return ""; }
    static std::string second()
    {
        return "a text that is too long to be kept without an allocation";
    }
    static bool is_first(const std::string& value) { return value == first(); }
};

template <>
struct samples<qz_audio_status> {
    static qz_audio_status first() { return qz_audio_status_none; }
    static qz_audio_status second() { return qz_audio_status_stopped; }
    static bool is_first(qz_audio_status value) { return value == first(); }
};

template <>
struct samples<_audio_data*> {
    static _audio_data* first() { return &records[0]; }
    static _audio_data* second() { return &records[1]; }
    static bool is_first(_audio_data* value) { return value == first(); }
};

/// A function is told by whether it is empty.
template <typename Argument>
struct samples<std::function<void(qz_audio_ptr, Argument)>> {
    using function = std::function<void(qz_audio_ptr, Argument)>;
    static function first() { return nullptr; }
    static function second()
    {
        return [](qz_audio_ptr, Argument) {};
    }
    static bool is_first(const function& value) { return !value; }
};

/// A value of a type that no property has.
struct other_type {
};

} // namespace

template <typename T>
class Property : public testing::Test
{
protected:
    static T first() { return samples<T>::first(); }
    static T second() { return samples<T>::second(); }

    /// Whether the property holds the first value, in its own type.
    bool holds_first()
    {
        const T* const value = boost::any_cast<T>(&list.at("key"));
        return value != nullptr && samples<T>::is_first(*value);
    }

    property_list list;
};

using property_types =
    testing::Types<int, bool, std::string, qz_audio_status, _audio_data*, on_code, on_status>;

struct property_type_names {
    template <typename T>
    static std::string GetName(int index)
    {
        const lines names{"Int",    "Bool",         "String",        "Status",
                          "Record", "CodeCallback", "StatusCallback"};
        return names.at(static_cast<std::size_t>(index));
    }
};
TYPED_TEST_SUITE(Property, property_types, property_type_names);

TYPED_TEST(Property, InitCreates)
{
    EXPECT_TRUE(qz_property_init<TypeParam>(this->list, "key", this->first()));
    EXPECT_TRUE(this->holds_first());
    EXPECT_EQ(this->list.size(), 1U);
}

TYPED_TEST(Property, InitOfAPresentKeyKeepsTheOldValue)
{
    qz_property_init<TypeParam>(this->list, "key", this->first());
    EXPECT_FALSE(qz_property_init<TypeParam>(this->list, "key", this->second()));
    EXPECT_FALSE(qz_property_init<other_type>(this->list, "key", {}));
    EXPECT_TRUE(this->holds_first());
}

TYPED_TEST(Property, SetReplaces)
{
    qz_property_init<TypeParam>(this->list, "key", this->second());
    EXPECT_FALSE(this->holds_first());
    EXPECT_TRUE(qz_property_set<TypeParam>(this->list, "key", this->first()));
    EXPECT_TRUE(this->holds_first());
}

TYPED_TEST(Property, SetOfAnAbsentKeyCreatesNothing)
{
    EXPECT_FALSE(qz_property_set<TypeParam>(this->list, "key", this->first()));
    EXPECT_TRUE(this->list.empty());
}

TYPED_TEST(Property, SetOfAnotherTypeKeepsTheOldValue)
{
    qz_property_init<TypeParam>(this->list, "key", this->first());
    EXPECT_FALSE(qz_property_set<other_type>(this->list, "key", {}));
    EXPECT_TRUE(this->holds_first());
}

TYPED_TEST(Property, GetCopies)
{
    qz_property_init<TypeParam>(this->list, "key", this->first());
    TypeParam out = this->second();
    EXPECT_TRUE(qz_property_get_extract<TypeParam>(this->list, "key", &out));
    EXPECT_TRUE(samples<TypeParam>::is_first(out));
    EXPECT_TRUE(this->holds_first());
}

TYPED_TEST(Property, GetFromAnEmptyListLeavesTheOutput)
{
    TypeParam out = this->second();
    EXPECT_FALSE(qz_property_get_extract<TypeParam>(this->list, "key", &out));
    EXPECT_FALSE(samples<TypeParam>::is_first(out));
}

TYPED_TEST(Property, GetOfAnotherTypeLeavesTheOutputAndWritesNothing)
{
    output_capture output;
    this->list["key"] = other_type{};
    TypeParam out = this->second();
    EXPECT_FALSE(qz_property_get_extract<TypeParam>(this->list, "key", &out));
    EXPECT_FALSE(samples<TypeParam>::is_first(out));
    EXPECT_EQ(output.take(), lines{});
}

TYPED_TEST(Property, FailingAllocationsChangeNothing)
{
    qz_property_init<TypeParam>(this->list, "key", this->first());
    const auto held = this->second();
    const std::string absent = "a key that is too long to be kept without an allocation";
    const std::vector<std::function<void(TypeParam&)>> operations{
        [&](TypeParam&) { qz_property_init<TypeParam>(this->list, absent, held); },
        [&](TypeParam&) { qz_property_set<TypeParam>(this->list, "key", held); },
        [&](TypeParam& out) { qz_property_get_extract<TypeParam>(this->list, "key", &out); },
    };
    for (const auto& operation : operations) {
        unsigned failures = 0;
        for (bool done = false; !done;) {
            TypeParam out = held;
            const failing_allocation failing(failures + 1);
            try {
                operation(out);
                done = true;
            } catch (const std::bad_alloc&) {
                ++failures;
                EXPECT_TRUE(this->holds_first());
                EXPECT_EQ(this->list.size(), 1U);
                EXPECT_FALSE(samples<TypeParam>::is_first(out));
            }
        }
        EXPECT_GT(failures, 0U);
        this->list.erase(absent);
        this->list["key"] = this->first();
    }
}

TEST(PropertyList, IsInByteOrderOfTheNames)
{
    property_list list;
    for (const auto* name : {"b", "\xc3\xa4", "a_b", "aB", "B", "a"}) {
        qz_property_init<int>(list, name, 1);
    }
    lines names;
    for (const auto& property : list) {
        names.push_back(property.first);
    }
    EXPECT_EQ(names, (lines{"B", "a", "aB", "a_b", "b", "\xc3\xa4"}));
}

TEST(PropertyList, SettingABoolWhereAnIntIsChangesNothing)
{
    property_list list;
    qz_property_init<int>(list, "audio_volume", 100);
    EXPECT_FALSE(qz_property_set<bool>(list, "audio_volume", true));
    EXPECT_EQ(boost::any_cast<int>(list["audio_volume"]), 100);
}

TEST(PropertyList, AStatusIsNoInt)
{
    property_list list;
    qz_property_init<qz_audio_status>(list, "status", qz_audio_status_paused);
    int out = -1;
    EXPECT_FALSE(qz_property_get_extract<int>(list, "status", &out));
    EXPECT_EQ(out, -1);
}

TEST(PropertyList, AClearedCallbackKeepsItsType)
{
    property_list list;
    qz_property_init<on_code>(list, "on_error", [](qz_audio_ptr, int) {});
    EXPECT_TRUE(qz_property_set<on_code>(list, "on_error", nullptr));
    on_code out = [](qz_audio_ptr, int) {};
    EXPECT_TRUE(qz_property_get_extract<on_code>(list, "on_error", &out));
    EXPECT_FALSE(out);
    EXPECT_FALSE(qz_property_set<on_status>(list, "on_error", nullptr));
}

TEST(PropertyList, ASetDestroysTheOldValue)
{
    const auto captured = std::make_shared<int>();
    property_list list;
    qz_property_init<on_code>(list, "on_error", [captured](qz_audio_ptr, int) {});
    EXPECT_EQ(captured.use_count(), 2);
    qz_property_set<on_code>(list, "on_error", nullptr);
    EXPECT_EQ(captured.use_count(), 1);
}

TEST(PropertyList, AReadFetchesThroughThePlatform)
{
    substitute::reset_calls();
    property_list list;
    int out = 0;
    qz_property_get_extract<int>(list, "audio_volume", &out);
    ASSERT_EQ(substitute::calls().size(), 1U);
    EXPECT_EQ(substitute::calls().front().text(), "qz_property_get(\"audio_volume\")");
}
