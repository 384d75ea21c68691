// Where a picture's data lies: the storage classes by name, moves between them, and what they tell of themselves.
#pragma once

#include <string>

#include "picture.h"

namespace ravo {

/// The memory type of a class by its name on the command line.
uint32_t parseStorage(const std::string& text);

/// Moves the data to another class. nTileBytes is the size of a tile, 0 for the library's own choice; a picture that
/// one tile holds stays in memory.
void moveToStorage(Picture& picture, uint32_t uMemory, uint32_t nTileBytes);

/// The class in words, with its figures.
std::string storageText(const BITMAPRECORD& bm);

}  // namespace ravo
