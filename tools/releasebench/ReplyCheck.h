#pragma once

#include <string>

#include "Offer.h"
#include "Release.h"
#include "ServerCheck.h"

// A request of the engine's to the update service.
struct ServiceRequest {
    Asker asker;
    Job job = Job::update;
    std::string url;
    std::string system;      // the version of the operating system that asks
    std::string releaseName; // of the product that an update asks for
};

// What came of it.
struct ServiceAnswer {
    std::string failure; // of the transfer; "" when there is none
    long status = 0;
    std::string reply;
};

// The engine's own URL of a job, or the same of another service, "https://staging.example" say.
std::string serviceUrl(Job job, const std::string &otherService);

// By the engine's code. Called by any thread.
ServiceAnswer askService(const ServiceRequest &request, const AskingTime &time);

// The reply, read by the engine's code, against the one that the release calls for. Called by one thread at a
// time, while nobody writes to the process's standard output.
ServerCheck checkReply(const ServiceRequest &request, const ServiceAnswer &answer, const Release &release);
