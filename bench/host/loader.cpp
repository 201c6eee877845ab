// Writes a first line where the command line has its trace, as early as a program of the same libraries can.
#include <cstdio>

#include <curl/curl.h>
#include <libxml/parser.h>

int main() {
#ifdef INITIALISES
    curl_global_init(CURL_GLOBAL_DEFAULT);
    xmlInitParser();
#endif
    std::FILE *trace = std::fopen("/var/log/DownloadManager.log", "a+");
    std::fputs("started\n", trace);
    std::fclose(trace);
}
