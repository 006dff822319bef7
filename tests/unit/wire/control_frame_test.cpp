#include "wire/control_frame.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace receiver {
namespace {

using Result = FrameAssembler::Result;

std::string LengthField(uint32_t length) {
    std::string field;
    for (int i = 0; i < 4; ++i) field.push_back(static_cast<char>(length >> (8 * i)));
    return field;
}

void Append(FrameAssembler& assembler, const std::string& bytes) {
    assembler.Append(bytes.data(), bytes.size());
}

}  // namespace

TEST(ControlFrame, AFrameIsItsLengthLittleEndianAndItsBody) {
    EXPECT_EQ(EncodeFrame("{}"), std::string("\x02\0\0\0{}", 6));
    EXPECT_EQ(EncodeFrame(std::string(65536, 'x')).substr(0, 4), std::string("\0\0\1\0", 4));
}

TEST(ControlFrame, ABodyHas1To65536Bytes) {
    EXPECT_FALSE(IsValidFrameLength(0));
    EXPECT_TRUE(IsValidFrameLength(1));
    EXPECT_TRUE(IsValidFrameLength(65536));
    EXPECT_FALSE(IsValidFrameLength(65537));
    EXPECT_FALSE(IsValidFrameLength(0xFFFFFFFF));
}

TEST(ControlFrame, AnEmptyAssemblerHasNoFrame) {
    FrameAssembler assembler;
    std::string body = "untouched";
    EXPECT_EQ(assembler.Next(&body), Result::kIncomplete);
    EXPECT_EQ(body, "untouched");
}

TEST(ControlFrame, AFrameIsCompleteWithItsLastByte) {
    const std::string frame = EncodeFrame("hello");
    FrameAssembler assembler;
    std::string body;
    for (size_t i = 0; i + 1 < frame.size(); ++i) {
        Append(assembler, frame.substr(i, 1));
        EXPECT_EQ(assembler.Next(&body), Result::kIncomplete) << i;
    }
    Append(assembler, frame.substr(frame.size() - 1));
    EXPECT_EQ(assembler.Next(&body), Result::kFrame);
    EXPECT_EQ(body, "hello");
    EXPECT_EQ(assembler.Next(&body), Result::kIncomplete);
}

TEST(ControlFrame, FramesComeOutInOrderWhateverThePiecesTheyCameIn) {
    const std::vector<std::string> bodies = {"a", std::string(300, 'b'), "c",
                                             std::string(65536, 'd'), "e"};
    std::string stream;
    for (const auto& body : bodies) stream += EncodeFrame(body);
    for (const size_t piece : {size_t{1}, size_t{3}, size_t{7}, size_t{4096}, stream.size()}) {
        FrameAssembler assembler;
        std::vector<std::string> out;
        for (size_t at = 0; at < stream.size(); at += piece) {
            Append(assembler, stream.substr(at, piece));
            std::string body;
            while (assembler.Next(&body) == Result::kFrame) out.push_back(body);
        }
        EXPECT_EQ(out, bodies) << piece;
    }
}

TEST(ControlFrame, ALengthOf0IsInvalid) {
    FrameAssembler assembler;
    std::string body = "untouched";
    Append(assembler, LengthField(0));
    EXPECT_EQ(assembler.Next(&body), Result::kInvalidLength);
    EXPECT_EQ(body, "untouched");
}

TEST(ControlFrame, ALengthOf65537IsInvalidBeforeItsBodyArrives) {
    FrameAssembler assembler;
    std::string body;
    Append(assembler, LengthField(65537));
    EXPECT_EQ(assembler.Next(&body), Result::kInvalidLength);
    EXPECT_EQ(assembler.Next(&body), Result::kInvalidLength);
}

TEST(ControlFrame, ALengthWithItsHighestBitSetIsInvalid) {
    FrameAssembler assembler;
    std::string body;
    Append(assembler, LengthField(0x80000001));
    EXPECT_EQ(assembler.Next(&body), Result::kInvalidLength);
}

TEST(ControlFrame, ClearForgetsAHalfFrame) {
    FrameAssembler assembler;
    std::string body;
    Append(assembler, EncodeFrame("hello").substr(0, 6));
    assembler.Clear();
    Append(assembler, EncodeFrame("new"));
    EXPECT_EQ(assembler.Next(&body), Result::kFrame);
    EXPECT_EQ(body, "new");
}

}  // namespace receiver
