// The editor factory of a build without editors: the effect gets none, so it
// reports none, and neither do the fronts built over it.
#include "editor/editor_factory.h"

AEffEditor* createReverbEditor(EditController& /*controller*/) { return nullptr; }

// No editor, so no toolkit to allow for.
HostSize hostEditorSize(int width, int height) { return {width, height}; }
