#pragma once

#include <vector>

#include "Matrix.h"
#include "MatrixView.h"

class XmlOut;

// A class of the page's style.
const char *nameOf(Mood mood);

// Every product's way on every system: a mark for where it ends, and a line to where the next update leads.
// Of a matrix that is too large for a picture it says so.
void writePicture(const Matrix &matrix, const std::vector<Band> &bands, XmlOut &out);
