// SPDX-License-Identifier: Apache-2.0
#include "io/printable.h"
#include "support/test.h"

namespace Norvane::Tests {
namespace {

using namespace std::string_view_literals;

TEST(Printable, IsOneLineThatDoesNothingToATerminal) {
    const struct {
        std::string_view text, shown;
    } table[] = {{"a\nb\r\t\x1b[2K\x7F\0."sv, R"(a\nb\r\t\x1b[2K\u007f\x00.)"},
                 {"\xC3\xBC \xE2\x82\xAC \xF0\x9F\xA9\xBB \xF4\x8F\xBF\xBF",
                  "\xC3\xBC \xE2\x82\xAC \xF0\x9F\xA9\xBB \xF4\x8F\xBF\xBF"},
                 {"\xC2\x80\xC2\x9F\xC2\xA0", "\\u0080\\u009f\xC2\xA0"},
                 {"\xD8\x9C\xE2\x80\x8D\xE2\x80\x8E\xE2\x80\xA8\xE2\x80\xAE\xE2\x80\xAF\xE2\x81\xA6\xE2\x81\xA9",
                  "\\u061c\xE2\x80\x8D\\u200e\\u2028\\u202e\xE2\x80\xAF\\u2066\\u2069"},
                 // no UTF-8: lone bytes, cut short, longer than needed, halves of pairs, beyond the last character
                 {"\x9B.\xFF.\xC3.\xE2\x82", R"(\x9b.\xff.\xc3.\xe2\x82)"},
                 {"\xC0\x8A\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", R"(\xc0\x8a\xc1\xbf\xe0\x9f\xbf\xf0\x8f\xbf\xbf)"},
                 {"\xED\xA0\x80\xF4\x90\x80\x80", R"(\xed\xa0\x80\xf4\x90\x80\x80)"}};
    for (const auto& row : table) EXPECT_EQ(row.shown, Host::printable(row.text));
}

}  // namespace
}  // namespace Norvane::Tests
