// The installed programs in a machine whose state belongs to one case.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "Observed.h"
#include "Paths.h"
#include "Program.h"
#include "Release.h"
#include "TextFile.h"
#include "Updater.h"

class BundleFixture : public testing::Test {
protected:
    static constexpr const char *program = "/usr/local/Brovik/qrn/bin/updatelog";

    BundleFixture() {
        shell("rm -rf /tmp/kept && mkdir /tmp/kept && cp -a " + configurations() + " /tmp/kept");
    }
    ~BundleFixture() override {
        shell("cp -a --remove-destination /tmp/kept/ProductConfig.xml /tmp/kept/DynaConfig.plist "
              "/usr/local/Brovik/ && "
              "cp -a --remove-destination /tmp/kept/configuration.plist /private/tmp/ && "
              "rm -rf /tmp/kept /usr/local/Brovik/TempDownload /usr/local/repost/installer.sh /tmp/in "
              "/tmp/out && "
              "rm -f /var/log/DownloadManager.log /tmp/packagelist.txt /tmp/*.tar.gz");
    }

    static Ended bundle(const std::vector<std::string> &arguments = {}) {
        std::vector<std::string> command{program, "bundle", file};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command);
    }
    static Ended replay(const std::vector<std::string> &arguments = {}) {
        std::vector<std::string> command{program, "replay", file};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command);
    }
    static nlohmann::json replayed() { return nlohmann::json::parse(replay({"--json"}).out); }
    // The bundle's files by their names in it.
    static Files bundled() {
        shell("rm -rf /tmp/out && mkdir /tmp/out && tar -C /tmp/out -xzf " + std::string(file));
        return filesBelow("/tmp/out");
    }
    static nlohmann::json manifest() { return nlohmann::json::parse(bundled().at("bundle.json")); }

    static constexpr const char *file = "/tmp/update.tar.gz";

private:
    static std::string configurations() {
        return prodConfigXml + " " + dynaConfigPlistPath + " " + configurationPlistPath;
    }
};
