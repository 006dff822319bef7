// What a PREPARE request may ask for, and what it gets without asking. The receiver
// refuses what lies outside; whoever sends a request can check it beforehand. Pure.
#pragma once

#include <cstddef>
#include <cstdint>

namespace receiver {

inline constexpr uint32_t kMinIoTimeoutMs = 100;
inline constexpr uint32_t kMaxIoTimeoutMs = 60000;
inline constexpr uint32_t kDefaultIoTimeoutMs = 15000;
static_assert(kMinIoTimeoutMs <= kDefaultIoTimeoutMs && kDefaultIoTimeoutMs <= kMaxIoTimeoutMs);

inline constexpr uint32_t kMinBlockBytes = 4;
inline constexpr uint32_t kMaxBlockBytes = 1048576;
inline constexpr uint32_t kDefaultBlockBytes = 8192;
static_assert(kMinBlockBytes <= kDefaultBlockBytes && kDefaultBlockBytes <= kMaxBlockBytes);

inline constexpr uint32_t kMinProgramMs = 1000;  // of "maximumMs"
inline constexpr uint32_t kMaxProgramMs = 3600000;
inline constexpr uint32_t kMaxFadeMs = 3600000;

// Of the additions that a request may ask for.
inline constexpr uint32_t kMinLookBackMs = 1000;
inline constexpr uint32_t kMaxLookBackMs = 3600000;
inline constexpr uint32_t kMaxReconnectMs = 86400000;
inline constexpr uint32_t kMaxPreRollMs = 60000;
inline constexpr size_t kMaxUserAgentBytes = 256;
inline constexpr size_t kMaxHttpHeaders = 32;
inline constexpr size_t kMaxHttpHeaderBytes = 4096;  // name and value of one

inline constexpr size_t kMaxReferences = 32;  // and at least one
inline constexpr size_t kMaxUrlBytes = 4096;
inline constexpr size_t kMaxPathBytes = 4096;  // of a reference

}  // namespace receiver
