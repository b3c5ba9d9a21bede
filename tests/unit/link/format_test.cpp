#include "link/format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

namespace qsolve {
namespace {

template <class... Arguments>
std::string Format(const char* sFormat, const Arguments&... arguments) {
    const Argument list[] = {Argument(arguments)..., Argument(0)};
    char sText[kTextCapacity];
    const std::size_t nLength =
        FormatText(sText, sizeof sText, sFormat, list, sizeof...(arguments));
    EXPECT_EQ(nLength, std::strlen(sText));
    return sText;
}

/// The same by the C library, whose formats must name the exact types.
template <class Value>
std::string Library(const char* sFormat, Value value) {
    char sText[kTextCapacity];
    std::snprintf(sText, sizeof sText, sFormat, value);
    return sText;
}

TEST(Format, CopiesATextWithoutConversions) {
    EXPECT_EQ(Format(""), "");
    EXPECT_EQ(Format("100 degrees"), "100 degrees");
    EXPECT_EQ(Format("done %d%%.", 40), "done 40%.");
}

TEST(Format, PrintsDoublesAsTheLibraryDoes) {
    for (const char* sFormat : {"%f", "%15.7f", "%-12.3f|", "%+.2f", "%08.3f", "% .1f", "%.0f",
                                "%#.0f", "%e", "%12.4e", "%g", "%.3g", "%lf"})
        for (double d : {0.0, -0.0, 1.0, -627.5220032, 0.05, 1e-30, 1e20, -12345.678})
            EXPECT_EQ(Format(sFormat, d), Library(sFormat, d)) << sFormat;
}

TEST(Format, PrintsIntegersAsTheLibraryDoes) {
    for (const char* sFormat : {"%d", "%i", "%5d", "%-5d|", "%05d", "%+d", "% d", "%.3d", "%2d"})
        for (int n : {0, 7, -7, 123456, std::numeric_limits<int>::min()})
            EXPECT_EQ(Format(sFormat, n), Library(sFormat, n)) << sFormat;
    EXPECT_EQ(Format("%u", 4000000000u), "4000000000");
    EXPECT_EQ(Format("%c%3c", 'A', 'b'), "A  b");
}

TEST(Format, TakesEveryWidthOfIntegerForEveryLength) {
    const short n16 = -3;
    const long long n64 = 5000000000LL;
    EXPECT_EQ(Format("%ld %d %hd %lld %zu", n16, n64, 70000, 1, std::size_t{9}),
              "-3 5000000000 70000 1 9");
}

TEST(Format, PrintsTextsAsTheLibraryDoes) {
    for (const char* sFormat : {"%s", "%4s", "%-4s|", "%.2s", "%4.1s", "%3.3s", "%.0s"})
        for (const char* s : {"", "A", "C2v", "longer"})
            EXPECT_EQ(Format(sFormat, s), Library(sFormat, s)) << sFormat;
}

TEST(Format, ReadsNoFurtherThanThePrecisionOfAText) {
    const char sLabel[4] = {'A', '1', 'g', ' '};  // no NUL: a reader beyond meets the sanitizer
    const std::string sCopy = Format("%.4s|", static_cast<const char*>(sLabel));
    EXPECT_EQ(sCopy, "A1g |");
}

TEST(Format, PrintsAQuestionMarkForAnArgumentOfTheWrongKind) {
    EXPECT_EQ(Format("%d %d", 1.5, 2), "? 2");
    EXPECT_EQ(Format("%f %f", 1, 2.0), "? 2.000000");
    EXPECT_EQ(Format("%s %s", 12345, "x"), "? x");
    EXPECT_EQ(Format("%d %f", "x", "y"), "? ?");
    EXPECT_EQ(Format("%s", static_cast<const char*>(nullptr)), "?");
}

TEST(Format, PrintsAQuestionMarkForAnArgumentThatIsMissing) {
    EXPECT_EQ(Format("%d and %s"), "? and ?");
    EXPECT_EQ(Format("%d %d %f", 1), "1 ? ?");
    EXPECT_EQ(Format("%d", 1, 2, 3), "1");
}

TEST(Format, PrintsAQuestionMarkForAConversionThatIsNotOurs) {
    EXPECT_EQ(Format("%n|%d", 1, 2), "?|2");
    EXPECT_EQ(Format("%p|%d", "x", 2), "?|2");
    EXPECT_EQ(Format("%*d|", 3, 4), "?d|");
    EXPECT_EQ(Format("%.*f|", 3, 4.0), "?f|");
    EXPECT_EQ(Format("%99999999999999999999d|%d", 1, 2), "?|2");
    EXPECT_EQ(Format("%c|", '\0'), "?|");
}

TEST(Format, SurvivesAFormatThatEndsWithinAConversion) {
    EXPECT_EQ(Format("end %", 1), "end ?");
    EXPECT_EQ(Format("end %-5.3", 1), "end ?");
    EXPECT_EQ(Format("end %l", 1), "end ?");
}

TEST(Format, PrintsWhatIsNotFinite) {
    const double dInfinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Format("%f", dInfinity), "inf");
    EXPECT_EQ(Format("%7.2f", -dInfinity), "   -inf");
    EXPECT_EQ(Format("%f", std::abs(std::nan(""))), "nan");
}

TEST(Format, CutsATextThatIsTooLong) {
    const std::string sLong(1000, 'x');
    EXPECT_EQ(Format("%s", sLong.c_str()), std::string(kTextCapacity - 1, 'x'));
    EXPECT_EQ(Format(sLong.c_str()), std::string(kTextCapacity - 1, 'x'));
    const std::string sHuge = Format("%f%f", 1e300, -1e300);
    ASSERT_EQ(sHuge.size(), kTextCapacity - 1);
    EXPECT_EQ(sHuge.substr(0, 4), "1000");
    EXPECT_EQ(sHuge.substr(308, 2), "-1");
}

TEST(Format, WritesNothingBeyondItsCapacity) {
    const Argument list[] = {Argument(12345), Argument("tail"), Argument(2.5)};
    char sWhole[64];
    const std::size_t nWhole = FormatText(sWhole, sizeof sWhole, "n=%8d, %s%% %.3f.", list, 3);
    EXPECT_STREQ(sWhole, "n=   12345, tail% 2.500.");
    for (std::size_t nCapacity = 0; nCapacity <= nWhole + 2; ++nCapacity) {
        std::vector<char> sText(nCapacity + 8, '#');
        const std::size_t nLength =
            FormatText(sText.data(), nCapacity, "n=%8d, %s%% %.3f.", list, 3);
        EXPECT_EQ(nLength, nCapacity == 0 ? 0 : std::min(nCapacity - 1, nWhole));
        EXPECT_EQ(std::string(sText.data(), nLength), std::string(sWhole, nLength));
        if (nCapacity > 0) {
            EXPECT_EQ(sText[nLength], '\0');
        }
        for (std::size_t i = nCapacity; i < sText.size(); ++i) EXPECT_EQ(sText[i], '#');
    }
}

}  // namespace
}  // namespace qsolve
