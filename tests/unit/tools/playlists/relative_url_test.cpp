#include "playlists/relative_url.h"

#include <gtest/gtest.h>

namespace receiver {

struct UrlCase {
    const char* reference;
    const char* expected;  // null: nothing
};

class RelativeUrlTest : public testing::TestWithParam<UrlCase> {};

TEST_P(RelativeUrlTest, IsResolvedAgainstItsBase) {
    const auto url = ResolveUrl("http://u:p@h:8000/b/c/d.m3u?q=/x#f", GetParam().reference);
    if (GetParam().expected == nullptr) {
        EXPECT_EQ(url, std::nullopt);
    } else {
        EXPECT_EQ(url, GetParam().expected);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RelativeUrlTest,
    testing::Values(
        UrlCase{"g", "http://u:p@h:8000/b/c/g"}, UrlCase{"./g/.", "http://u:p@h:8000/b/c/g/"},
        UrlCase{"/g", "http://u:p@h:8000/g"}, UrlCase{"//x/g?y#s", "http://x/g?y"},
        UrlCase{"?y", "http://u:p@h:8000/b/c/d.m3u?y"},
        UrlCase{"", "http://u:p@h:8000/b/c/d.m3u?q=/x"}, UrlCase{"../g", "http://u:p@h:8000/b/g"},
        UrlCase{"../../../../g", "http://u:p@h:8000/g"}, UrlCase{"..", "http://u:p@h:8000/b/"},
        UrlCase{"g?y/../x", "http://u:p@h:8000/b/c/g?y/../x"},
        UrlCase{"a b?c d", "http://u:p@h:8000/b/c/a%20b?c%20d"}, UrlCase{"g:1", nullptr},
        UrlCase{"./g:1", "http://u:p@h:8000/b/c/g:1"}, UrlCase{"HTTP://X/g", "http://X/g"},
        UrlCase{"https://x?a", "https://x?a"}, UrlCase{"http:g", nullptr},
        UrlCase{"http://", nullptr}, UrlCase{"http:///g", nullptr}, UrlCase{"a\x01", nullptr},
        UrlCase{"a\tb", nullptr}, UrlCase{"data:x", nullptr}));

TEST(RelativeUrl, ABaseThatIsNoAddressOfTheWebResolvesNothing) {
    EXPECT_EQ(ResolveUrl("file:///a/b", "c"), std::nullopt);
    EXPECT_EQ(ResolveUrl("", "c"), std::nullopt);
    EXPECT_EQ(ResolveUrl("http://h", "c"), "http://h/c");
}

TEST(RelativeUrl, AnAddressIsNoLongerThanAReceiverTakes) {
    const std::string host = "http://h/";
    EXPECT_TRUE(ResolveUrl(host, std::string(4096 - host.size(), 'a')));
    EXPECT_EQ(ResolveUrl(host, std::string(4097 - host.size(), 'a')), std::nullopt);
}

}  // namespace receiver
