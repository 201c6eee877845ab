#include "PipeMode.h"

// glibc refuses "r+". Nobody reads the pipe, so that reading alone has the same effect.
const char *const runCommandPipeMode = "r";
