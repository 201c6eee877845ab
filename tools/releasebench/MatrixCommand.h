#pragma once

#include <filesystem>
#include <string>

#include "Matrix.h"
#include "MatrixView.h"

enum class Format { text, json };

struct MatrixOptions {
    std::filesystem::path folder;
    std::filesystem::path page; // to be written; none when empty
    std::string application;
    std::string affiliate;
    Format format = Format::text;
};

// Tells what updates do for every product version on every system version. Gives the process's status; throws
// UnusableInput and std::system_error.
int runMatrix(const MatrixOptions &options);

std::string matrixInJson(const Matrix &matrix, const std::vector<Band> &bands);
// One HTML page that needs nothing else; well-formed as XML too. Throws UnusableInput for a matrix that is
// larger than a page can show.
std::string matrixPage(const Matrix &matrix, const std::vector<Band> &bands);
