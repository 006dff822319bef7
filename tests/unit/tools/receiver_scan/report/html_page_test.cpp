#include "receiver_scan/report/html_page.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "receiver_scan/report/envelope.h"
#include "receiver_scan/report/html_text.h"
#include "receiver_scan/report/report_data.h"
#include "receiver_scan/report/svg_plot.h"
#include "unit/tools/receiver_scan/listen/small_result.h"

namespace receiver {
namespace {

size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
    return count;
}

constexpr const char* kHostile = "<img src=x onerror=\"alert('1')\">&</script><!--.wav";

}  // namespace

TEST(Envelope, KeepsTheLeastOfEachStretch) {
    const auto least = [](int a, int b) { return std::min(a, b); };
    EXPECT_EQ(Envelope(std::vector<int>{5, 3, 4, 1, 9}, 2, least), (std::vector<int>{3, 1, 9}));
    EXPECT_TRUE(Envelope(std::vector<int>{}, 2, least).empty());
    EXPECT_EQ(BucketSize(0, 10), 1u);
    EXPECT_EQ(BucketSize(10, 10), 1u);
    EXPECT_EQ(BucketSize(11, 10), 2u);
}

TEST(HtmlText, NothingIsTakenForMarkup) {
    EXPECT_EQ(EscapeHtml("<a b='c' d=\"e\">&\x01\xff"),
              "&lt;a b=&#39;c&#39; d=&quot;e&quot;&gt;&amp;?\xEF\xBF\xBD");
    EXPECT_EQ(EscapeHtmlLines("a<\n\nb"), "a&lt;\n\nb\n");
    EXPECT_EQ(EscapeScript("{\"a\":\"</script><!--&\"}"),
              "{\"a\":\"\\u003c/script\\u003e\\u003c!--\\u0026\"}");
}

TEST(HtmlText, Base64IsPaddedToFours) {
    EXPECT_EQ(Base64({}), "");
    EXPECT_EQ(Base64({'M'}), "TQ==");
    EXPECT_EQ(Base64({'M', 'a'}), "TWE=");
    EXPECT_EQ(Base64({'M', 'a', 'n', 0xFF}), "TWFu/w==");
}

TEST(ReportData, ALongCurveComesInFewPointsWithTheMarksInFull) {
    ScanResult result = SmallResult();
    result.views[0].curve.assign(100000, 0.5f);
    result.views[0].curve[80] = 0.0125f;
    const nlohmann::json reference = ReportData(result)["references"][0];
    EXPECT_EQ(reference["curve"]["bucket"], 5);  // 100000 / 24000, rounded up
    EXPECT_EQ(reference["curve"]["rates"].get<std::string>().size(), 20000u * 2 / 3 * 4 + 4);
    ASSERT_EQ(reference["details"].size(), 1u);
    EXPECT_EQ(reference["details"][0]["word"], 0);
    EXPECT_EQ(reference["matches"].size(), 1u);
}

TEST(HtmlPage, ItNeedsNothingFromElsewhere) {
    const std::string page = ReportPage(SmallResult());
    EXPECT_EQ(Count(page, "default-src 'none'"), 1u);
    EXPECT_FALSE(std::regex_search(page, std::regex("<(link|iframe|img)[ >]")));
    EXPECT_EQ(Count(page, " src="), 0u);
    EXPECT_EQ(Count(page, "href=\"http"), 0u);
    EXPECT_EQ(Count(page, "@import"), 0u);
    EXPECT_GE(Count(page, "Permission is hereby granted"), 1u);  // the terms of Dygraphs
}

TEST(HtmlPage, ItHasAChartForEachReferenceAndARowForEachMark) {
    const std::string page = ReportPage(SmallResult());
    EXPECT_EQ(Count(page, "class=\"chart ber\""), 2u);
    EXPECT_EQ(Count(page, "<td class=mark>▼</td>"), 1u);
    EXPECT_EQ(Count(page, "<td class=mark>○</td>"), 1u);
    EXPECT_EQ(Count(page, "<figure class=bits"), 1u);
    EXPECT_EQ(Count(page, "href=\"#t=1.000-11.000\""), 1u);
}

TEST(HtmlPage, HostileNamesStayText) {
    ScanResult result = SmallResult();
    const std::string plain = ReportPage(result);
    result.source = kHostile;
    const std::string page = ReportPage(result);
    EXPECT_EQ(Count(page, "<img"), 0u);
    EXPECT_EQ(Count(page, "&lt;img src=x"), 2u);
    EXPECT_EQ(Count(page, "</script>"), Count(plain, "</script>"));
}

TEST(SvgPlot, ItHasACurveForEachReferenceAndAMarkForEachPlace) {
    ScanResult result = SmallResult();
    result.source = kHostile;
    const std::string picture = SvgPlot(result);
    EXPECT_EQ(picture.rfind("<svg xmlns=", 0), 0u);
    EXPECT_EQ(Count(picture, "<polyline class=\"curve\""), 2u);
    EXPECT_EQ(Count(picture, "<path class=\"mark full\""), 1u);
    EXPECT_EQ(Count(picture, "<circle class=\"mark\""), 1u);
    EXPECT_EQ(Count(picture, "class=\"bar\""), 1u);
    EXPECT_EQ(Count(picture, "<img"), 0u);
}

}  // namespace receiver
