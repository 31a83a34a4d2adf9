// The headless backend's controls for tests and tools: the windows' pixels,
// scripted mouse input, a virtual clock and the edit box's keyboard.
//
// Scripted input: a press (postButtonDown) is delivered at the window's next
// dispatchEvents and sets the pointer state. The first poll of the buttons
// after that reads the press itself; every further poll consumes the next
// scripted step (buttons and position). When the script is used up, the mouse
// buttons read as released (modifiers stay), so a tracking loop always ends.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "gui/platform/platform.h"

namespace korro::headless {

using platform::EditBox;
using platform::Rgb;
using platform::Window;

struct Step {
  int buttons;
  int x;
  int y;
};

// ---------------------------------------------------------------- windows
// The window made last and still alive, or null.
Window* currentWindow();
int liveWindows();
void* parentOf(const Window* window);
int width(const Window* window);
int height(const Window* window);
Rgb pixel(const Window* window, int x, int y);
// Rows top to bottom, three bytes a pixel.
const std::uint8_t* pixels(const Window* window);
// Marks the window's contents as lost, so a paint is pending.
void invalidate(Window* window);
bool paintPending(const Window* window);

// ---------------------------------------------------------------- mouse
// Queues a press for the window; delivered by its next dispatchEvents.
void postButtonDown(Window* window, int x, int y, int buttons);
// Replaces the steps still to come.
void script(std::initializer_list<Step> steps);
void script(const std::vector<Step>& steps);
std::size_t stepsLeft();
// Sets the current pointer state at once, outside any script.
void setPointer(int buttons, int x, int y);
// How often the buttons have been polled.
std::uint64_t buttonPolls();

// ---------------------------------------------------------------- keyboard and edit box
EditBox* focusedEditBox();
std::string editBoxText(const EditBox* box);
platform::Box editBoxArea(const EditBox* box);
bool editBoxAllSelected(const EditBox* box);
// Types as a person would: replaces the selection, else appends.
void type(EditBox* box, const std::string& text);
void pressReturn(EditBox* box);
// The keyboard focus goes elsewhere (another window, or the host).
void moveFocusAway(EditBox* box);

// ---------------------------------------------------------------- time
std::uint32_t now();
void advance(std::uint32_t milliseconds);
// Total of all sleeps asked for.
std::uint64_t sleptMs();

// What desktopScale answers (0, none, until set) and what toolkitScale answers (1 until set).
void setDesktopScale(double scale);
void setToolkitScale(double scale);

// Forgets scripted input, queued presses and the clock's sleep count.
void resetInput();

}  // namespace korro::headless
