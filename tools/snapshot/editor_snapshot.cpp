// Renders the opened editor through the headless backend and writes it as PNG:
//   korro-editor-snapshot out.png [--scale 1|1.5|2] [--about] [--clip] [--edit]
// The effect is opened as a host opens it, at the scale a host asks for with
// the content-scale call; --about clicks the name plate, --clip feeds a
// clipping peak, --edit opens the Decay field's edit box.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image_write.h>

#include "editor/editor_layout.h"
#include "gui/platform/headless/headless.h"
#include "shell/reverb_effect.h"

namespace {
std::intptr_t KORRO_CDECL quietHost(AEffect*, std::int32_t opcode, std::int32_t, std::intptr_t, void*, float) {
  return opcode == audioMasterVersion ? 2400 : 0;
}
}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s out.png [--scale 1|1.5|2] [--about] [--clip] [--edit]\n", argv[0]);
    return 2;
  }
  float scale = 1.0f;
  bool about = false, clip = false, edit = false;
  for (int i = 2; i < argc; ++i) {
    if (!std::strcmp(argv[i], "--scale") && i + 1 < argc) scale = static_cast<float>(std::atof(argv[++i]));
    else if (!std::strcmp(argv[i], "--about")) about = true;
    else if (!std::strcmp(argv[i], "--clip")) clip = true;
    else if (!std::strcmp(argv[i], "--edit")) edit = true;
  }

  auto* fx = new ReverbEffect(&quietHost, &createReverbEditor);
  AEffect* e = fx->getAeffect();
  fx->setProgram(2);  // "Typical Spring"
  int parent = 0;
  e->dispatcher(e, effVendorSpecific, fourCharCode('P', 'r', 'e', 'S'), fourCharCode('A', 'e', 'C', 's'), nullptr, scale);
  e->dispatcher(e, effEditOpen, 0, 0, &parent, 0.0f);
  if (clip) fx->meter.peakLeft = 1.2f;
  else fx->meter.peakLeft = 0.5f;
  e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);  // the readout follows one idle later
  if (clip) {
    fx->meter.peakLeft = 0.0f;
    e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  }
  korro::platform::Window* w = korro::headless::currentWindow();
  const auto at = [scale](int v) { return korro::layout::scaled(v, korro::layout::snapScale(scale)); };
  if (about) {
    korro::headless::postButtonDown(w, at(150), at(60), korro::platform::kLeftButton);
    e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
  }
  if (edit) {
    korro::headless::postButtonDown(w, at(60), at(104), korro::platform::kLeftButton);
    e->dispatcher(e, effEditIdle, 0, 0, nullptr, 0.0f);
    korro::headless::type(korro::headless::focusedEditBox(), "42");
  }

  const int width = korro::headless::width(w), height = korro::headless::height(w);
  const int ok = stbi_write_png(argv[1], width, height, 3, korro::headless::pixels(w), width * 3);
  e->dispatcher(e, effEditClose, 0, 0, nullptr, 0.0f);
  e->dispatcher(e, effClose, 0, 0, nullptr, 0.0f);
  if (!ok) {
    std::fprintf(stderr, "cannot write %s\n", argv[1]);
    return 1;
  }
  std::printf("%s: %d x %d\n", argv[1], width, height);
  return 0;
}
