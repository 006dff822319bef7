// Both ends of a pipe with a name of the test's own, and what stands of it in the directory.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>

#include "pipe/endpoint_directory_posix.h"
#include "pipe/pcm_pipe.h"
#include "pipe/pipe_uri.h"
#include "platform/ids.h"

namespace receiver {

class PcmPipePosixTest : public testing::Test {
protected:
    // The entries of the directory that belong to this test's name.
    std::set<std::string> Entries() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(EndpointDirectoryPath())) {
            const std::string name = entry.path().filename();
            if (name.ends_with(name_)) names.insert(name);
        }
        return names;
    }
    std::string LockPath() const { return EndpointDirectoryPath() + "/lock." + name_; }

    const std::string name_ = "unit-" + CreateInstanceId();
    const std::string uri_ = "pcm-pipe://" + name_;
    const std::string path_ = *MapPipeUri(uri_);
    CPcmPipe server_{std::make_shared<CPcmPipeCancellation>()};
    CPcmPipe client_{std::make_shared<CPcmPipeCancellation>()};
};

}  // namespace receiver
