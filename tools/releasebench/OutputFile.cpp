#include "OutputFile.h"

#include "TemporaryFolder.h"
#include "UnusableInput.h"

void putFile(const std::filesystem::path &file, const std::string &content) {
    const std::filesystem::path place = std::filesystem::weakly_canonical(file);
    if (std::filesystem::exists(place) && !std::filesystem::is_regular_file(place))
        throw UnusableInput(file.string() + ": expected a file, or nothing, there");
    const TemporaryFolder temporary(place.parent_path(), "." + place.filename().string() + ".");
    const std::filesystem::path made = temporary.path() / "made";
    writeNewFile(made, content);
    std::filesystem::rename(made, place);
}
