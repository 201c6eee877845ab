#pragma once

#include <string>

class XmlOut;

// Style and script stand in elements whose text HTML reads as it is, so they have no character that XML would
// write in another way: none of < > & ".
struct PageHead {
    std::string title;
    std::string style; // below the one that all pages share
    std::string script;
};

// Writes the head of a page that loads nothing, by its own word too, and is light or dark as its reader has
// it.
void writePageHead(const PageHead &head, XmlOut &out);
