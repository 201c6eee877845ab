#include <exception>
#include <iostream>

#include "Engine.h"
#include "Installation.h"
#include "Options.h"
#include "OwnStreams.h"
#include "Statuses.h"
#include "View.h"

int main(int argc, char **argv) {
    Options options;
    if (const std::optional<int> status = readOptions(argc, argv, options))
        return *status;
    try {
        const OwnStreams streams;
        Engine engine(options.library);
        const std::unique_ptr<View> view = makeView(options, streams.out());
        return Installation(engine, *view, options.retries).run();
    } catch (const std::exception &error) {
        std::cerr << "freshinstall: " << error.what() << '\n';
        return Statuses::engineUnusable;
    }
}
