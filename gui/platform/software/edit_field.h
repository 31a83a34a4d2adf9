// A single-line edit field drawn into a surface, for backends without a native
// text control: its text, an all-selected state, and what typing does to them.
#pragma once

#include <string>

#include "surface.h"

namespace korro::software {

struct EditField {
  Box area;
  platform::EditBoxStyle style;
  std::string text;
  bool allSelected = true;

  // Font colour on back colour, the selection inverted while everything is selected.
  void render(Surface& s) const;
  // Typing replaces the selection, else appends.
  void type(const std::string& typed);
  // Backspace: removes the selection, else the last character.
  void erase();
  void copyText(char* out, int size) const;
};

}  // namespace korro::software
