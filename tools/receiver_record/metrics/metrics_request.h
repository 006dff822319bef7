// The part of HTTP that a scrape needs: one GET of one page, and a refusal of all else. Pure.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace receiver {

inline constexpr const char* kMetricsPath = "/metrics";
// Of a request; a scraper's are a tenth of it.
inline constexpr size_t kMaxMetricsRequestBytes = 8192;

// What is sent to a client of which these bytes have come, and with which the connection ends.
// Nothing while the head of its request is not whole. The page is only made for who gets it.
std::optional<std::string> AnswerMetricsRequest(std::string_view received,
                                                const std::function<std::string()>& page);

}  // namespace receiver
