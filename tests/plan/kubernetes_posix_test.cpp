// What is rendered for Kubernetes, against the types of its API.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "plan/plan_run.h"
#include "testing/temp_folder.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

class KubernetesObjectsTest : public testing::Test {
protected:
    void SetUp() override {
        // Debian's own Python has Debian's packages.
        const PlanRun has =
            RunProgram("/usr/bin/python3", {"-c", "import kubernetes.client, yaml"});
        if (has.exitCode != 0) GTEST_SKIP() << "python3-kubernetes is not installed";
        const PlanRun rendered = RunPlan({"render", PLAN_TESTS_PATH "/expected/plan.toml", "--for",
                                          "kubernetes", "--output", folder_.File("out")});
        ASSERT_EQ(rendered.exitCode, 0) << rendered.errors;
        for (const auto& entry : fs::directory_iterator(folder_.File("out"))) {
            if (entry.path().filename() == "kustomization.yaml") continue;
            objects_.push_back(entry.path().string());
        }
        std::sort(objects_.begin(), objects_.end());
    }
    static PlanRun Check(std::vector<std::string> files) {
        files.insert(files.begin(), PLAN_TESTS_PATH "/kubernetes_objects.py");
        return RunProgram("/usr/bin/python3", files);
    }
    // What is said of the first object with another text in it.
    std::string FaultsWith(const std::string& text, const std::string& other) {
        std::string object = BytesOfFile(objects_.at(0));
        const size_t at = object.find(text);
        if (at == std::string::npos) return "There is no " + text;
        object.replace(at, text.size(), other);
        std::ofstream(folder_.File("changed.yaml")) << object;
        const PlanRun run = Check({folder_.File("changed.yaml")});
        EXPECT_EQ(run.exitCode, 1) << other;
        return run.output;
    }

    const TempFolder folder_;
    std::vector<std::string> objects_;
};

}  // namespace

TEST_F(KubernetesObjectsTest, AreWhatTheApiTakes) {
    ASSERT_EQ(objects_.size(), 5u);
    const PlanRun run = Check(objects_);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_EQ(run.output, "\n");
}

// Otherwise the test above would show nothing.
TEST_F(KubernetesObjectsTest, AreSeenToBeWrongWhereTheyAre) {
    EXPECT_NE(FaultsWith("restartPolicy:", "restart:").find("has no such key"), std::string::npos);
    EXPECT_NE(FaultsWith("        - name: recorder", "        - title: recorder")
                  .find("`name`, must not be `None`"),
              std::string::npos);
    EXPECT_NE(FaultsWith("startingDeadlineSeconds: 120", "startingDeadlineSeconds: soon")
                  .find("'soon' is no int"),
              std::string::npos);
    EXPECT_NE(FaultsWith("cpu: 10m", "cpu: ten").find("'ten' is no quantity"), std::string::npos);
    EXPECT_NE(FaultsWith("kind: CronJob", "kind: Cronjob").find("is of no known kind"),
              std::string::npos);
}

}  // namespace receiver
