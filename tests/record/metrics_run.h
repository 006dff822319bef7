// A recorder that tells its metrics, and who asks for them.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/patience.h"
#include "testing/tcp_socket.h"

namespace receiver {

// A sample's value by its name and labels, without the prefix and the labels that all have.
using Samples = std::map<std::string, double>;

inline Samples ParseMetrics(const std::string& text, const std::string& common) {
    const std::string prefix = "receiver_record_";
    Samples samples;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') continue;
        const size_t space = line.rfind(' ');
        std::string name = line.substr(0, space);
        EXPECT_TRUE(name.starts_with(prefix)) << line;
        const size_t at = name.find("{" + common);
        EXPECT_NE(at, std::string::npos) << line;
        if (at == std::string::npos) continue;
        name.erase(at + 1, common.size());
        if (name.substr(at, 2) == "{,") name.erase(at + 1, 1);
        if (name.ends_with("{}")) name.resize(at);
        samples[name.substr(prefix.size())] = std::stod(line.substr(space + 1));
    }
    return samples;
}

inline std::string Ask(uint16_t port, const std::string& request) {
    TcpSocket socket = TcpSocket::ConnectToLoopback(port);
    if (!socket.IsValid() || !socket.Send(request)) return {};
    std::string answer;
    char buffer[4096];
    while (const size_t count = socket.Receive(buffer, sizeof buffer)) answer.append(buffer, count);
    return answer;
}

inline Samples Scrape(uint16_t port, const std::string& common = "stream=\"127.0.0.1\"") {
    const std::string answer = Ask(port, "GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n");
    const size_t head = answer.find("\r\n\r\n");
    if (head == std::string::npos) return {};
    return ParseMetrics(answer.substr(head + 4), common);
}

class MetricsRun : public testing::Test, public RecordRun {
protected:
    std::unique_ptr<ChildProcess> Start(std::vector<std::string> further) {
        for (const char* const argument : {"--metrics", ":0", "-o"}) further.push_back(argument);
        further.push_back(OutputFile());
        auto process = std::make_unique<ChildProcess>(RecordProgram(), Arguments(further),
                                                      ChildProcess::ErrorStream::kCapture);
        const std::string told = "Metrics: http://127.0.0.1:";
        while (const auto line = process->ReadErrorLine(TickMs() + kRunPatienceMs)) {
            const size_t at = line->find(told);
            if (at == std::string::npos) continue;
            port_ = static_cast<uint16_t>(std::stoul(line->substr(at + told.size())));
            break;
        }
        EXPECT_NE(port_, 0);
        return process;
    }
    // Asks until this sample is 1, which it is a moment after the recorder has said this.
    Samples ScrapeWhen(ChildProcess& process, const std::string& said,
                       const std::string& sample) const {
        EXPECT_TRUE(WaitForErrorLine(process, said));
        const Patience patience(sample, kRunPatienceMs);
        for (;;) {
            Samples samples = Scrape(port_);
            if (samples[sample] == 1) return samples;
            patience.Check();
        }
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
    std::string MetricsFile() const { return folder_.File("news.prom"); }
    std::string FileText() const {
        std::ifstream in(MetricsFile(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    Samples FileSamples() const {
        return ParseMetrics(FileText(), "id=\"news\",stream=\"127.0.0.1\"");
    }

    uint16_t port_ = 0;
};

}  // namespace receiver
