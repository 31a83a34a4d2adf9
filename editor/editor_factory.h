// The one way the shell reaches its editor: the editor library makes it, the
// effect owns it and talks to it only through AEffEditor.
#pragma once

class AEffEditor;
class EditController;

AEffEditor* createReverbEditor(EditController& controller);
using EditorFactory = AEffEditor* (*)(EditController& controller);

// The editor's width and height as the host must be told them. A host whose own
// toolkit enlarges every size it is told (GDK_SCALE in GTK 3, QT_SCALE_FACTOR in
// Qt) is told them divided by that factor; the CLAP and LV2 fronts, whose hosts
// were seen doing so, report sizes through this.
struct HostSize {
  int width, height;
};
HostSize hostEditorSize(int width, int height);
