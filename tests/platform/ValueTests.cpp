// SPDX-License-Identifier: MIT
#include "platform/Value.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>

namespace {

using platform::Array;
using platform::Dictionary;
using platform::Value;

TEST(Value, numbersAreReadByAnyKindThatHoldsThem) {
    const struct {
        Value value;
        std::optional<bool> boolean;
        std::optional<std::uint32_t> uint32;
        std::optional<std::uint64_t> uint64;
        std::optional<std::int64_t> int64;
        std::optional<double> real;
    } rows[] = {
        {Value(), {}, {}, {}, {}, {}},
        {Value(nullptr), {}, {}, {}, {}, {}},
        {Value("12"), {}, {}, {}, {}, {}},
        {Value(static_cast<const char*>(nullptr)), {}, {}, {}, {}, {}},
        {Value(true), true, 1, 1, 1, 1.0},
        {Value(0), false, 0, 0, 0, 0.0},
        {Value(-1), true, {}, {}, -1, -1.0},
        {Value(0xFFFFFFFFU), true, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 4294967295.0},
        {Value(0x100000000LL), true, {}, 0x100000000, 0x100000000, 4294967296.0},
        {Value(UINT64_MAX), true, {}, UINT64_MAX, {}, 18446744073709551616.0},
        {Value(1.0), {}, {}, {}, {}, 1.0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.value.boolean(), row.boolean) << row.value.description();
        EXPECT_EQ(row.value.uint32(), row.uint32) << row.value.description();
        EXPECT_EQ(row.value.uint64(), row.uint64) << row.value.description();
        EXPECT_EQ(row.value.int64(), row.int64) << row.value.description();
        EXPECT_EQ(row.value.real(), row.real) << row.value.description();
    }
    EXPECT_TRUE(Value(static_cast<const char*>(nullptr)).isNull());
    EXPECT_EQ(Value(1).string(), nullptr);
    EXPECT_EQ(Value("a").array(), nullptr);
    EXPECT_EQ(Value(Array{}).dictionary(), nullptr);
    EXPECT_FALSE(Value("a").date());
}

TEST(Value, equality) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        Value left;
        Value right;
        bool equal;
    } rows[] = {
        {1, 1U, true},
        {1, 1.0, true},
        {1.5, 1, false},
        {true, 1, true},
        {false, Value(), false},
        {-1, UINT64_MAX, false},
        {-1.0, -1, true},
        {INT64_MIN, static_cast<double>(INT64_MIN), true},
        {INT64_MAX, 9223372036854775808.0, false}, // equal only after rounding
        {UINT64_MAX, 18446744073709551616.0, false},
        {UINT64_MAX, UINT64_MAX, true},
        {nan, nan, false},
        {1, nan, false},
        {std::numeric_limits<double>::infinity(), UINT64_MAX, false},
        {"1", 1, false},
        {"a", std::string("a"), true},
        {Value(), nullptr, true},
        {Array{1, "a"}, Array{1U, "a"}, true},
        {Array{1}, Array{1, 1}, false},
        {Dictionary{{"a", 1}, {"b", 2}}, Dictionary{{"b", 2U}, {"a", 1}}, true},
        {Dictionary{{"a", 1}}, Dictionary{{"A", 1}}, false},
        {Dictionary{{"a", nullptr}}, Dictionary{{"b", nullptr}}, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.left == row.right, row.equal) << row.left.description() << " " << row.right.description();
        EXPECT_EQ(row.right == row.left, row.equal) << row.left.description() << " " << row.right.description();
    }
}

TEST(Value, objectsKeepTheirTypeAndLife) {
    struct Service {};
    struct Other {};
    auto service = std::make_shared<Service>();
    const std::weak_ptr<Service> watched = service;
    {
        const Dictionary context{{"CallbackObject", service}};
        EXPECT_EQ(context.object<Service>("CallbackObject"), service);
        EXPECT_EQ(context.object<Other>("CallbackObject"), nullptr);
        EXPECT_EQ(context.object<Service>("missing"), nullptr);
        EXPECT_EQ(*context.find("CallbackObject"), Value(service));
        EXPECT_FALSE(*context.find("CallbackObject") == Value(std::make_shared<Service>()));
        service.reset();
        EXPECT_FALSE(watched.expired());
    }
    EXPECT_TRUE(watched.expired());
}

TEST(Value, ownDictionaryIsChangedInThisValueAlone) {
    Value value(Dictionary{{"a", 1}});
    const Dictionary* const before = value.dictionary();
    value.ownDictionary()->set("b", 2);
    EXPECT_EQ(value.dictionary(), before) << "nobody shares it: nothing is copied";
    const Value copy = value;
    value.ownDictionary()->set("c", 3);
    EXPECT_EQ(copy, Value(Dictionary{{"a", 1}, {"b", 2}}));
    EXPECT_EQ(value, Value(Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
    EXPECT_EQ(Value("a").ownDictionary(), nullptr);
}

TEST(Value, description) {
    const platform::Date epoch;
    const Dictionary dictionary{{"b", Array{1, "x", Value()}}, {"a", true}, {"c", 2.5}, {"d", epoch}};
    EXPECT_EQ(dictionary.description(), "{a = 1; b = (1, x, (null)); c = 2.5; d = 1970-01-01 00:00:00 +0000}");
    EXPECT_EQ(Value(Dictionary()).description(), "{}");
    EXPECT_EQ(Value(Array()).description(), "()");
    EXPECT_EQ(Value(Array{"", ""}).description(), "(, )");
}

TEST(Dictionary, changesAndTypedReads) {
    Dictionary dictionary{{"name", "a"}, {"size", 5}, {"name", "b"}};
    EXPECT_EQ(dictionary.size(), 2U);
    EXPECT_EQ(dictionary.string("name"), "b");
    EXPECT_EQ(dictionary.uint32("size"), 5U);
    EXPECT_EQ(dictionary.uint64("name"), std::nullopt);
    EXPECT_EQ(dictionary.string("Name"), std::nullopt);
    EXPECT_EQ(dictionary.array("name"), nullptr);

    const Dictionary copy = dictionary;
    dictionary.merge({{"size", nullptr}, {"more", Dictionary{{"x", 1}}}});
    dictionary.merge(dictionary);
    dictionary.remove("name");
    dictionary.remove("name");
    EXPECT_TRUE(dictionary.contains("size"));
    EXPECT_EQ(dictionary.uint32("size"), std::nullopt);
    ASSERT_NE(dictionary.dictionary("more"), nullptr);
    EXPECT_EQ(dictionary.dictionary("more")->uint32("x"), 1U);
    EXPECT_EQ(copy.string("name"), "b") << "copies are independent";

    std::vector<std::string> order;
    for (const auto& [key, value] : dictionary) {
        order.push_back(*key);
    }
    EXPECT_EQ(order, (std::vector<std::string>{"size", "more"}));
}

TEST(Dictionary, keysAreSharedAcrossThreads) {
    constexpr int count = 50;
    std::vector<Dictionary> made(4);
    {
        std::vector<std::jthread> threads;
        threads.reserve(4);
        for (Dictionary& dictionary : made) {
            threads.emplace_back([&dictionary] {
                for (int i = 0; i < count; ++i) {
                    dictionary.set("shared key number " + std::to_string(i), i);
                }
            });
        }
    }
    for (const Dictionary& dictionary : made) {
        EXPECT_EQ(dictionary, made.front());
        EXPECT_EQ(dictionary.begin()->first, made.front().begin()->first) << "one text in memory, whoever came first";
    }
}

} // namespace
