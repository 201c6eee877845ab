#include <exception>
#include <iostream>

#include "Engine.h"
#include "Installation.h"
#include "Options.h"
#include "Output.h"
#include "OwnStreams.h"
#include "Statuses.h"
#include "Surroundings.h"
#include "View.h"
#include "Wake.h"

namespace {

int complain(const std::exception &error, int status) {
    std::cerr << "freshinstall: " << error.what() << '\n';
    return status;
}

} // namespace

int main(int argc, char **argv) {
    try {
        Options options;
        if (const std::optional<int> status = readOptions(argc, argv, options))
            return *status;
        checkSurroundings();
        const OwnStreams streams;
        Output output(streams.out());
        Engine engine(options.library);
        const Wake wake; // before a terminal is taken: from then on no signal may end the process by itself
        const std::unique_ptr<View> view = makeView(options, output);
        const int status = Installation(engine, *view, output, wake, options).run();
        if (const int error = output.error(); error != 0)
            throw OutputLost(error, status == Statuses::done ? Statuses::outputLost : status);
        return status;
    } catch (const UnfitSurroundings &error) {
        return complain(error, error.status);
    } catch (const OutputLost &error) {
        return complain(error, error.status);
    } catch (const EngineUnusable &error) {
        return complain(error, Statuses::engineUnusable);
    } catch (const std::exception &error) {
        return complain(error, Statuses::outOfResources);
    }
}
