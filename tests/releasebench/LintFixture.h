// The example release in a folder of its own, which is the current one.
#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Build.h"
#include "Init.h"
#include "TextFile.h"

class LintFixture : public testing::Test {
protected:
    static constexpr const char *folder = "/tmp/work/release";

    void SetUp() override {
        std::filesystem::remove_all("/tmp/work");
        std::filesystem::create_directories("/tmp/work");
        ASSERT_EQ(runInit(folder), 0);
        std::filesystem::current_path(folder);
    }

    static void change(const std::function<void(nlohmann::json &)> &changing) {
        nlohmann::json release = nlohmann::json::parse(readText("release.json"));
        changing(release);
        writeText("release.json", release.dump(1));
    }
    static std::string builtCatalog() {
        EXPECT_EQ(runBuild({folder, ""}), 0);
        return readText("built/catalogs/platform_maccat.xml");
    }
};
