#pragma once

// Initialises libcurl and libxml2, once in the process, and traces nothing. Neither may be initialised
// while other threads use it, so this comes before the engine's first thread.
void initialiseExternalLibraries();
