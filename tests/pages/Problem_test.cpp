/*
 * Problem_test.cpp - every code has words, and the list of codes holds them all.
 */
#include <set>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "quarlo/pages.hpp"

namespace
{

using namespace quarlo;

/* Every value of the enumeration; the compiler tells when one is missing here. */
bool IsCode(Code code)
{
    switch (code) {
    case Code::ok:
    case Code::bad_argument:
    case Code::out_of_memory:
    case Code::no_page:
    case Code::no_line:
    case Code::no_edge:
    case Code::invalid_bitmap:
    case Code::cannot_read:
    case Code::unknown_format:
    case Code::damaged:
    case Code::unsupported:
    case Code::too_large:
    case Code::no_such_page:
    case Code::cannot_write:
    case Code::exists:
    case Code::cannot_hold:
    case Code::not_trusted:
    case Code::angle_limit:
    case Code::area_limit:
    case Code::bad_report:
    case Code::interrupted:
    case Code::crashed:
        return true;
    }
    return false;
}

TEST(Explain, ExactlyTheCodesHaveWords)
{
    for (int code = -300; code <= 300; ++code)
        EXPECT_EQ(IsCode(static_cast<Code>(code)), !Explain(code).empty()) << code;
    EXPECT_EQ("", Explain(2147483647));
    EXPECT_EQ("", Explain(-2147483647 - 1));
}

TEST(Explain, NoTwoCodesHaveTheSameWords)
{
    std::set<std::string_view> texts;
    for (const int code : AllCodes()) EXPECT_TRUE(texts.insert(Explain(code)).second) << code;
}

TEST(Explain, TextsAreSentences)
{
    for (const int code : AllCodes()) EXPECT_EQ('.', Explain(code).back()) << code;
}

TEST(AllCodes, AreThoseOfTheEnumerationInAscendingOrder)
{
    std::vector<int> expected;
    for (int code = 0; code <= 300; ++code)
        if (IsCode(static_cast<Code>(code))) expected.push_back(code);
    EXPECT_EQ(22u, expected.size());
    EXPECT_EQ(expected, AllCodes());
}

TEST(Problem, IsFalseWhenAllWentWell)
{
    EXPECT_FALSE(Problem());
    EXPECT_TRUE((Problem{Code::no_page, "range", ""}));
}

TEST(NameOf, EachGroundHasItsName)
{
    EXPECT_EQ("auto", NameOf(Ground::automatic));
    EXPECT_EQ("dark", NameOf(Ground::dark));
    EXPECT_EQ("light", NameOf(Ground::light));
}

} // namespace
