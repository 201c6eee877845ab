#pragma once

#include <optional>
#include <string>

// The script's copying of the prepared configuration over the installed one, in place: a disk that is full at
// that moment leaves a part of it, and the product would no longer know what it is. Used by one thread.
class ConfigurationCopy {
public:
    // To be made before the script runs, which removes the prepared one. What cannot be read is not mended.
    ConfigurationCopy() noexcept;

    // Writes a configuration that was cut short whole, once the script has ended and its downloads make no
    // claim on the disk any more. Anything else stays as it is.
    void mend() const noexcept;

private:
    bool isCutShort(const std::string &now) const noexcept;

    std::optional<std::string> m_before;
    std::optional<std::string> m_prepared;
};
