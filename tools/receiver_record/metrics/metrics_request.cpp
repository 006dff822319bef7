#include "receiver_record/metrics/metrics_request.h"

namespace receiver {
namespace {

std::string Response(const std::string& status, const std::string& type, const std::string& body,
                     const std::string& field = "") {
    return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" + field +
           "Connection: close\r\n\r\n" + body;
}

std::string Refusal(const std::string& status, const std::string& field = "") {
    return Response(status, "text/plain; charset=utf-8", status + "\n", field);
}

std::string AnswerLine(std::string_view line, const std::function<std::string()>& page) {
    const size_t first = line.find(' ');
    const size_t last = line.rfind(' ');
    const bool isRequest = first != std::string_view::npos && first > 0 && last > first + 1 &&
                           line.substr(last + 1).substr(0, 7) == "HTTP/1.";
    if (!isRequest) return Refusal("400 Bad Request");
    std::string_view path = line.substr(first + 1, last - first - 1);
    path = path.substr(0, path.find('?'));
    if (path != kMetricsPath) return Refusal("404 Not Found");
    if (line.substr(0, first) != "GET") return Refusal("405 Method Not Allowed", "Allow: GET\r\n");
    return Response("200 OK", "text/plain; version=0.0.4; charset=utf-8", page());
}

}  // namespace

std::optional<std::string> AnswerMetricsRequest(std::string_view received,
                                                const std::function<std::string()>& page) {
    const bool isWhole = received.find("\r\n\r\n") != std::string_view::npos;
    if (isWhole) return AnswerLine(received.substr(0, received.find("\r\n")), page);
    if (received.size() < kMaxMetricsRequestBytes) return {};
    return Refusal("431 Request Header Fields Too Large");
}

}  // namespace receiver
