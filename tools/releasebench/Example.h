// The release that init makes; the texts are those of example/.
#pragma once

extern const char *const exampleRelease;
extern const char *const exampleReadme;
