#include "detect/fft_wisdom.h"

#include <fftw3.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "detect/fft.h"

namespace receiver {
namespace {

constexpr int kSize = 8192;

// Whether the texts were made with a build of FFTW like this one.
bool IsKnownFftw() {
    const std::string_view version = fftw_version;
    return version == "fftw-3.3.10-sse2-avx" || version == "fftw-3.3.10-sse2-avx2-avx2_128";
}

// What FFTW_ESTIMATE gives the fingerprint's transform, with what FFTW knows now.
std::string CurrentPlan() {
    fftw_complex* data = fftw_alloc_complex(kSize);
    const fftw_plan plan = fftw_plan_dft_1d(kSize, data, data, FFTW_FORWARD, FFTW_ESTIMATE);
    char* text = fftw_sprint_plan(plan);
    std::string description = text;
    std::free(text);
    fftw_destroy_plan(plan);
    fftw_free(data);
    return description;
}

// Each test begins with an FFTW that knows nothing, and leaves it as the first Fft does.
class FftWisdomTest : public testing::Test {
protected:
    FftWisdomTest() {
        Fft first(2);
        fftw_forget_wisdom();
        ownPlan_ = CurrentPlan();
        fftw_forget_wisdom();
    }
    ~FftWisdomTest() override {
        fftw_forget_wisdom();
        ImportFftWisdom(FftWisdom());
    }

    std::string ownPlan_;
};

TEST_F(FftWisdomTest, IsAcceptedByTheBuildsItWasMadeWith) {
    if (!IsKnownFftw()) GTEST_SKIP() << "no text was made with " << fftw_version;
    ASSERT_TRUE(ImportFftWisdom(FftWisdom()));
    const std::string plan = CurrentPlan();
    EXPECT_NE(plan, ownPlan_);
    EXPECT_EQ(plan.find("buffered"), std::string::npos) << plan;
}

TEST_F(FftWisdomTest, IsOneTextForEachSetOfCodelets) {
    int accepted = 0;
    for (const char* text : FftWisdom()) {
        EXPECT_TRUE(std::string_view(text).starts_with("(fftw-3.3.10 fftw_wisdom #x")) << text;
        accepted += ImportFftWisdom({&text, 1}) ? 1 : 0;
    }
    EXPECT_EQ(accepted, IsKnownFftw() ? 1 : 0);
}

TEST_F(FftWisdomTest, ChangesNothingWhenNoneIsAccepted) {
    std::string ofOtherCodelets = FftWisdom().front();
    ofOtherCodelets.replace(ofOtherCodelets.find("#x"), 10, "#x00000000");
    std::string ofOtherVersion = FftWisdom().front();
    ofOtherVersion.replace(ofOtherVersion.find("3.3.10"), 6, "3.3.11");
    const char* const refused[] = {ofOtherCodelets.c_str(), ofOtherVersion.c_str(), "", "no wisdom",
                                   "(fftw-3.3.10 fftw_wisdom"};
    EXPECT_FALSE(ImportFftWisdom(refused));
    EXPECT_FALSE(ImportFftWisdom({}));
    EXPECT_EQ(CurrentPlan(), ownPlan_);
}

TEST_F(FftWisdomTest, ChangesNothingWhenItIsCutShort) {
    const std::string_view whole = FftWisdom().front();
    for (size_t length = 0; length < whole.rfind(')'); ++length) {
        const std::string cut(whole.substr(0, length));
        const char* text = cut.c_str();
        ASSERT_FALSE(ImportFftWisdom({&text, 1})) << length << " characters";
    }
    EXPECT_EQ(CurrentPlan(), ownPlan_);
}

TEST_F(FftWisdomTest, IsFoundAmongTextsOfOtherBuilds) {
    if (!IsKnownFftw()) GTEST_SKIP() << "no text was made with " << fftw_version;
    std::vector<const char*> texts = {"no wisdom"};
    for (const char* text : FftWisdom()) texts.push_back(text);
    EXPECT_TRUE(ImportFftWisdom(texts));
    EXPECT_NE(CurrentPlan(), ownPlan_);
}

}  // namespace
}  // namespace receiver
