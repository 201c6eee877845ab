#include "OutputFile.h"

#include "TemporaryFolder.h"
#include "UnusableInput.h"

void putFile(const std::filesystem::path &file, const std::string &content) {
    const std::filesystem::path place = std::filesystem::weakly_canonical(std::filesystem::absolute(file));
    if (std::filesystem::exists(place) && !std::filesystem::is_regular_file(place))
        throw UnusableInput(file.string() + ": expected a file, or nothing, there");
    if (!std::filesystem::is_directory(place.parent_path()))
        throw UnusableInput(file.string() + ": expected a file in a folder that is there");
    const TemporaryFolder temporary(place.parent_path(), "." + place.filename().string() + ".");
    const std::filesystem::path made = temporary.path() / "made";
    writeNewFile(made, content);
    std::filesystem::rename(made, place);
}
