// The one way the shell reaches its editor: the editor library makes it, the
// effect owns it and talks to it only through AEffEditor.
#pragma once

class AEffEditor;
class EditController;

AEffEditor* createReverbEditor(EditController& controller);
using EditorFactory = AEffEditor* (*)(EditController& controller);
