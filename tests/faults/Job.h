// The engine's two jobs as they run on a customer's machine, with catalogs and packages served over either
// protocol. The service itself is always asked over HTTPS.
#pragma once

#include <map>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "Program.h"

enum class Task { update, freshInstall };

// Constants that tables may use before main.
struct Job {
    const char *name; // as part of a case's name
    Task task;
    std::string_view scheme;
    std::string_view catalogHost = "scripted.brovik.example";
    std::string_view packageHost = "scripted.brovik.example";
};

extern const Job updateByHttps;
extern const Job freshInstallByHttps;
extern const Job updateByHttp;
extern const Job freshInstallByHttp;

// File contents by the file's name on the scripted host.
using Packages = std::map<std::string, std::string>;

// Has the service offer these packages, each of version 1.0.1.0, and serves them and their catalogs.
void offerPackages(const Job &job, const Packages &packages);

// Where a package is asked for, and where the job leaves it.
std::string urlOf(const Job &job, const std::string &fileName);
std::string pathIn(const Job &job, const std::string &fileName);

// "CheckForInstall", or the whole fresh installation by the host program, which has its lines in JSON.
std::vector<std::string> commandOf(const Job &job);
Ended runJob(const Job &job);

// Whether the job told its user of success, and on what: a list with a marker and a prepared configuration,
// or status 0. Whatever it tells, all of it or nothing is there.
bool toldComplete(const Job &job, const Ended &ended);

// Success was told and every package is on the disk as it was published.
testing::AssertionResult isComplete(const Job &job, const Ended &ended, const Packages &packages);
// Success was not told; nothing is left that a later installation would take for an update.
testing::AssertionResult isRefused(const Job &job, const Ended &ended);
