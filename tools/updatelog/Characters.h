// Kinds of characters, whatever the locale is.
#pragma once

inline bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

inline bool isHex(char character) {
    return isDigit(character) || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

// Those beyond ASCII are parts of words.
inline bool isLetter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (static_cast<unsigned char>(character) & 0x80U) != 0;
}

inline bool isWord(char character) {
    return isDigit(character) || isLetter(character);
}

inline bool isBlank(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

inline char lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}
