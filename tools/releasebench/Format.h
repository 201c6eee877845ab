#pragma once

// How a command tells what it found: to people or to programs.
enum class Format { text, json };
