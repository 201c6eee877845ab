#include <exception>
#include <iostream>

#include "Engine.h"
#include "Installation.h"
#include "Options.h"
#include "Output.h"
#include "OwnStreams.h"
#include "Statuses.h"
#include "View.h"

int main(int argc, char **argv) {
    Options options;
    if (const std::optional<int> status = readOptions(argc, argv, options))
        return *status;
    try {
        const OwnStreams streams;
        Output output(streams.out());
        Engine engine(options.library);
        const std::unique_ptr<View> view = makeView(options, output);
        return Installation(engine, *view, output, options.retries).run();
    } catch (const std::exception &error) {
        std::cerr << "freshinstall: " << error.what() << '\n';
        return Statuses::engineUnusable;
    }
}
