// A matrix in words, the same for the terminal, the page and programs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Matrix.h"

// Neighbouring rows that are alike in every column.
struct Band {
    std::size_t first;
    std::size_t last;
    std::string label;
};

std::vector<Band> bandsOf(const Matrix &matrix);

enum class Mood { fine, nothing, bad };

struct CellWords {
    std::string set;    // "a", "" for none
    std::string update; // "3 -> 1.0.1.0 (130)"
    std::string way;    // "2 updates"
    Mood mood;          // of the way
};

// "a: 3 -> 1.0.1.0 (130)"
std::string updateWithSet(const CellWords &words);

CellWords wordsOf(const Matrix &matrix, std::size_t row, std::size_t column);

// Names of the sets, "a" to "z", "aa" and so on.
std::string nameOfSet(std::size_t set);
// "a: 1.0.1.0/platform.pkg, 1.0.1.0/toolbar.pkg; never installed: repost/1.0.1.0/x.pkg"
std::string contentOf(const PackageSet &set);

std::string titleOf(const Matrix &matrix);
std::string titleOfWays(const Matrix &matrix);
// What the words of the cells mean, as far as they occur.
std::vector<std::string> legendOf(const Matrix &matrix, const std::vector<Band> &bands);
// Who does not get to the newest version, whom the same update is offered for ever, where an update fails.
std::vector<std::string> findingsOf(const Matrix &matrix, const std::vector<Band> &bands);
