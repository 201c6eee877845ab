// The files of the machine that go into a bundle.
#pragma once

#include "Bundle.h"

// Takes those that are there: log, configurations, package list, script, catalogs, the system's version. Only
// what stands at the engine's fixed paths itself is taken: no link is followed below the folders that root
// made, and no FIFO, device or file with a second name is opened.
BundleContent bundleSources();
