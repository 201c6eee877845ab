// What the engine prints for whoever started its host. A stream whose reader is gone raises no signal, which
// would end the host's process; what cannot be printed is lost. Nothing of it is left in a buffer, to be
// written when the host ends, and it stands after what the host has printed before.
#pragma once

void printError(const char *format, ...) noexcept __attribute__((format(printf, 1, 2)));
void printOutput(const char *format, ...) noexcept __attribute__((format(printf, 1, 2)));
