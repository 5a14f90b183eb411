// The line-appending step shared by the show-text builders: the caller's
// size, the overflow report, and the 9000-character work text.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "decode/show_text.h"
#include "support/stderr_capture.h"

namespace {

using qsfp::decode::ShowText;
using qsfp::test::StderrCapture;

struct Work {
    std::vector<char> bytes = std::vector<char>(qsfp::decode::kWorkBufferSize, '\0');
    char *data() { return bytes.data(); }
    std::string text() const { return bytes.data(); }
};

TEST(ShowTextBuilder, LinesAppendWhileTheyFit) {
    Work work;
    ShowText t(work.data(), 20, "builder_name");
    StderrCapture err;
    t.line("\nport %d", 7);
    t.line("\n%s", "abc");
    EXPECT_EQ(t.status(), 0);
    EXPECT_EQ(work.text(), "\nport 7\nabc");
    EXPECT_EQ(err.take(), "");
}

TEST(ShowTextBuilder, ALineThatDoesNotFitEndsTheBuild) {
    Work work;
    // 7 + 4 characters leave 20 - 11 = 9; a line of 9 no longer fits.
    ShowText t(work.data(), 20, "builder_name");
    StderrCapture err;
    t.line("\nport %d", 7);
    t.line("\n%s", "abc");
    t.line("\n%s", "12345678");
    t.line("\n%s", "x");
    EXPECT_EQ(t.status(), QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(work.text(), "\nport 7\nabc");
    EXPECT_EQ(err.take(), " line 3  in FUN builder_name _size 9 __SIZZE__ 9 \n");
}

TEST(ShowTextBuilder, TheLastCharacterOfTheSizeStaysForTheTerminator) {
    Work work;
    ShowText t(work.data(), 5, "b");
    StderrCapture err;
    t.line("%s", "1234");
    EXPECT_EQ(t.status(), 0);
    t.line("%s", "");  // an empty line still fits
    EXPECT_EQ(t.status(), 0);
    t.line("%s", "5");
    EXPECT_EQ(t.status(), QSFP_SHOW_TEXT_OVERFLOW);
    EXPECT_EQ(work.text(), "1234");
    EXPECT_EQ(err.take(), " line 3  in FUN b _size 1 __SIZZE__ 1 \n");
}

TEST(ShowTextBuilder, OptionalLinesFollowTheShownTest) {
    Work work;
    ShowText t(work.data(), 100, "b");
    t.line_if(qsfp::decode::shown("Undefined, "), "\n1:%s", "Undefined, ");
    t.line_if(qsfp::decode::shown("Unknown"), "\n2:%s", "Unknown");
    t.line_if(qsfp::decode::shown(""), "\n3:%s", "");
    t.line_if(qsfp::decode::shown("undefined"), "\n4:%s", "undefined");
    t.line_if(qsfp::decode::shown("NRZ, "), "\n5:%s", "NRZ, ");
    EXPECT_EQ(work.text(), "\n3:\n4:undefined\n5:NRZ, ");
}

TEST(ShowTextBuilder, SizeAbove9000EmptiesTheWorkTextWhenItFillsUp) {
    Work work;
    ShowText t(work.data(), 20000, "b");
    const std::string chunk(998, 'c');
    StderrCapture err;
    for (int i = 0; i < 9; ++i) {
        t.line("\n%s", chunk.c_str());  // 999 characters each: 8991 in all
    }
    EXPECT_EQ(work.text().size(), 8991u);
    t.line("\n%s", chunk.c_str());  // would need 9991 of the 9000
    EXPECT_EQ(t.status(), 0);
    EXPECT_EQ(err.take(), "SIZE10010 size999 nrc406 \n");
    EXPECT_EQ(work.text(), "");
    t.line("\n%s", "after");
    EXPECT_EQ(work.text(), "\nafter");
    EXPECT_EQ(err.take(), "");
}

TEST(ShowTextBuilder, CopyStopsAtByte8999) {
    Work work;
    std::memset(work.data(), 'w', qsfp::decode::kWorkBufferSize - 1);
    ShowText t(work.data(), 9000, "b");
    std::vector<char> out(9000 + 8, '\x7F');
    t.copy_to(out.data(), 9000);
    EXPECT_EQ(std::string(out.data()), std::string(8999, 'w'));
    EXPECT_EQ(out[9000], '\x7F');
}

TEST(ShowTextBuilder, DumpSectionAppendsTheHeadingAndTheDump) {
    std::vector<std::uint8_t> pages(256);
    pages[128] = 0xAB;
    Work work;
    ShowText t(work.data(), 9000, "b");
    t.dump_section("\nHEADING\n", pages.data(), 128);
    const std::string text = work.text();
    EXPECT_EQ(text.substr(0, 9 + 14), "\nHEADING\n0x0080: ab 00 ");
    EXPECT_EQ(text.size(), 9u + 472u);
}

}  // namespace
