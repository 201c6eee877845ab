#include "PipeMode.h"

const char *const runCommandPipeMode = "r+";
