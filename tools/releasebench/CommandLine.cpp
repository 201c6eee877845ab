#include "CommandLine.h"

#include <functional>
#include <iostream>

#include <CLI/CLI.hpp>

#include "Build.h"
#include "DiffCommand.h"
#include "Explain.h"
#include "Init.h"
#include "Lint.h"
#include "MatrixCommand.h"
#include "Rehearse.h"
#include "ScriptCommand.h"
#include "Servers.h"
#include "Statuses.h"

namespace {

using Run = std::function<int()>;

const char *const statuses =
    "Exit status:\n"
    "  0  done\n"
    "  1  done, and something was found that is to be looked at\n"
    "  2  nothing done: the input or the call cannot be used, or the system refused\n";

// Every subcommand tells an example that works, and the statuses.
CLI::App *addCommand(CLI::App &app, const char *name, const char *purpose, const std::string &example) {
    CLI::App *command = app.add_subcommand(name, purpose);
    command->footer("Example:\n  $ " + example + "\n\n" + statuses);
    return command;
}

void addFolder(CLI::App *command, std::filesystem::path &folder, const char *what) {
    const auto isNamed = [](const std::string &text) {
        return text.empty() ? std::string("expected a folder's name") : std::string();
    };
    command->add_option("FOLDER", folder, what)->required()->check(isNamed);
}

// One function a subcommand: its options, and what runs it.

Run addInit(CLI::App &app, CLI::App *&command) {
    const auto folder = std::make_shared<std::filesystem::path>();
    command = addCommand(app, "init", "Make a small release to begin with, complete and explained",
                         "releasebench init my-release");
    addFolder(command, *folder, "The folder to make");
    return [folder] { return runInit(*folder); };
}

Run addBuild(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<BuildOptions>();
    command = addCommand(
        app, "build",
        "Write the catalogs with sizes and hashes, the order of installation and the service's data",
        "releasebench init my-release && releasebench build my-release --out published");
    addFolder(command, options->folder, "The release's folder, with its release.json");
    command
        ->add_option("--out", options->out,
                     "The folder to write, a new one or one that build made; "
                     "default FOLDER/built")
        ->type_name("DIR");
    return [options] { return runBuild(*options); };
}

// What explain and script ask about.
void addQuestion(CLI::App *command, Question &question) {
    addFolder(command, question.folder, "The release's folder, with its release.json");
    command->add_option("--product", question.product, "The version of the installed product")
        ->type_name("V");
    command->add_option("--system", question.system, "The version of the operating system")->type_name("V");
    command
        ->add_option("--app", question.application,
                     "Its application ids, with commas between; default: the "
                     "first of the release")
        ->type_name("ID");
    command
        ->add_option("--affiliate", question.affiliate, "Its affiliate id; default: the first of the release")
        ->type_name("ID");
    command
        ->add_option("--config", question.config, "Take what is not given from a machine's ProductConfig.xml")
        ->type_name("FILE");
}

Run addExplain(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<ExplainOptions>();
    command = addCommand(app, "explain",
                         "Tell what an update or a fresh installation of a machine would do, and why",
                         "releasebench init my-release && "
                         "releasebench explain my-release --product 1.0.0.5 --system 10.8.5");
    addQuestion(command, options->question);
    command->add_flag("--fresh", options->fresh, "Explain a fresh installation, which needs no versions");
    command->add_flag("--json", options->json, "Print JSON");
    return [options] { return runExplain(*options); };
}

Run addScript(CLI::App &app, CLI::App *&command) {
    const auto question = std::make_shared<Question>();
    command = addCommand(app, "script", "Print the installer script that an update would run as root",
                         "releasebench init my-release && "
                         "releasebench script my-release --product 1.0.0.5 --system 10.8.5");
    addQuestion(command, *question);
    return [question] { return runScript(*question); };
}

Run addLint(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<LintOptions>();
    command = addCommand(app, "lint", "Find what of a release can hurt the engine or a customer",
                         "releasebench init my-release && releasebench lint my-release");
    CLI::Option *paths =
        command
            ->add_option("FOLDER|CATALOG", options->paths, "The release's folder, or catalogs as published")
            ->type_name("PATH");
    const auto format = std::make_shared<std::string>("text");
    command->add_option("--format", *format, "text, json or sarif; default: text")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "sarif"}).description(""));
    command->add_option("--disable", options->disabled, "Leave out a rule; may be given again")
        ->type_name("RULE")
        ->allow_extra_args(false)
        ->check([](const std::string &id) {
            return isLintRule(id) ? "" : "no rule is called " + id + "; --rules lists them";
        });
    CLI::Option *rules = command->add_flag("--rules", options->isForRules, "Print the rules instead");
    paths->excludes(rules);
    return [options, format] {
        options->format = lintFormatNamed(*format);
        return runLint(*options);
    };
}

Run addRehearse(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<RehearseOptions>();
    command =
        addCommand(app, "rehearse",
                   "Run the engine against it in a sealed copy of this machine, and compare with explain",
                   "releasebench init my-release && "
                   "releasebench rehearse my-release --product 1.0.0.5 --system 10.8.5");
    addQuestion(command, options->question);
    command->add_flag("--fresh", options->fresh, "Rehearse a fresh installation, which needs no versions");
    command
        ->add_option(
            "--fail", options->failing,
            "Have the installer refuse the package of that file name, and tell what a customer has then")
        ->type_name("PACKAGE");
    command
        ->add_option("--results", options->results,
                     "Leave the engine's log, the package list and the script in this folder")
        ->type_name("DIR");
    command
        ->add_option("--keep", options->keep,
                     "Leave all that changed in the machine in this folder, an empty or new one")
        ->type_name("DIR");
    command
        ->add_option("--script", options->script,
                     "How scripted.brovik.example misbehaves; rehearsal/README.md tells the rules")
        ->type_name("FILE");
    command->add_option("--inside", options->inside)->group(""); // for itself, in the machine
    return [options] { return runRehearse(*options); };
}

Run addServers(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<ServersOptions>();
    command =
        addCommand(app, "servers", "Ask the real servers as the engine will, and compare with the folder",
                   "releasebench servers my-release");
    addFolder(command, options->folder, "The release's folder, with its release.json");
    command
        ->add_option("--service", options->service,
                     "The update service to ask, such as https://staging.example; default: the engine's own")
        ->type_name("URL");
    command->add_option("--system", options->system, "The version of the operating system that asks")
        ->type_name("V")
        ->capture_default_str();
    command->add_option("--release", options->releaseName, "The release name of the product that asks")
        ->type_name("NAME")
        ->capture_default_str();
    command->add_option("--timeout", options->timeout, "Seconds that an answer may take")
        ->type_name("S")
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    command->add_option("--total-timeout", options->totalTimeout, "Seconds that everything may take")
        ->type_name("S")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    command->add_option("--parallel", options->parallel, "How many servers are asked at a time")
        ->type_name("N")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    command->add_option("--format", options->format, "text or json")
        ->check(CLI::IsMember({"text", "json"}))
        ->capture_default_str();
    return [options] { return runServers(*options); };
}

// Who asks, and how the answer is told, of what looks at all machines.
template <typename Options>
void addAskerAndFormat(CLI::App *command, Options &options) {
    command
        ->add_option("--app", options.application,
                     "The machines' application ids, with commas between; default: the first of the release")
        ->type_name("ID");
    command
        ->add_option("--affiliate", options.affiliate,
                     "Their affiliate id; default: the first of the release")
        ->type_name("ID");
    command->add_option("--format", options.format, "text or json; default text")
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, Format>{{"text", Format::text}, {"json", Format::json}}))
        ->type_name("FORMAT");
}

Run addMatrix(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<MatrixOptions>();
    command =
        addCommand(app, "matrix", "Tell what updates do for every product version on every system version",
                   "releasebench init my-release && releasebench matrix my-release --html matrix.html");
    addFolder(command, options->folder, "The release's folder, with its release.json");
    addAskerAndFormat(command, *options);
    command->add_option("--html", options->page, "Write a page with a picture too")->type_name("FILE");
    return [options] { return runMatrix(*options); };
}

Run addDiff(CLI::App &app, CLI::App *&command) {
    const auto options = std::make_shared<DiffOptions>();
    command = addCommand(app, "diff", "Tell which machines another release serves otherwise, and which worse",
                         "releasebench init old && cp -r old new && releasebench diff old new");
    command->add_option("OLD", options->before, "The folder of the release that machines have now")
        ->required();
    command->add_option("NEW", options->now, "The folder of the one that is to take its place")->required();
    addAskerAndFormat(command, *options);
    return [options] { return runDiff(*options); };
}

constexpr auto commands = {addInit, addBuild,  addLint,    addExplain, addMatrix,
                           addDiff, addScript, addServers, addRehearse};

// Of help and version, which are all the output there is.
int statusOfAnswer() {
    return std::cout.flush() ? Statuses::done : Statuses::unusable;
}

} // namespace

int runCommandLine(int argc, const char *const *argv) {
    CLI::App app("Writes, checks and explains a release before a customer meets it.", "releasebench");
    app.set_version_flag("--version", VERSION);
    app.require_subcommand(1);
    app.footer("releasebench COMMAND --help tells more and gives an example.");
    Run chosen;
    for (const auto &add : commands) {
        CLI::App *command = nullptr;
        Run run = add(app, command);
        command->callback([&chosen, run = std::move(run)] { chosen = run; });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        // Help and version come this way too.
        return app.exit(error) == 0 ? statusOfAnswer() : Statuses::unusable;
    }
    return chosen();
}
