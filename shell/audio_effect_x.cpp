#include "audio_effect_x.h"

#include "shell/base/aeff_editor.h"

std::int32_t AudioEffectX::getPlugCategory() {
  // 2 would mean "synth"; anything else leaves the category to the host.
  return (cEffect.flags & effFlagsIsSynth) ? 2 : 0;
}

std::intptr_t AudioEffectX::dispatcher(std::int32_t opcode, std::int32_t index, std::int32_t value, void* ptr,
                                       float opt) {
  char* text = static_cast<char*>(ptr);
  switch (opcode) {
    case effCanBeAutomated:
      return canParameterBeAutomated(index) ? 1 : 0;
    case effGetNumProgramCategories:
      return 1;
    case effGetProgramNameIndexed:
      return (text && getProgramNameIndexed(static_cast<std::int32_t>(value), index, text)) ? 1 : 0;
    case effCopyProgram:
      return copyProgram(index) ? 1 : 0;
    case effConnectInput:
    case effConnectOutput:
      return 1;
    case effGetPlugCategory:
      return getPlugCategory();
    case effSetBlockSizeAndSampleRate:
      setBlockSize(value);
      setSampleRate(opt);
      return 1;
    case effSetBypass:
      return setBypass(value != 0) ? 1 : 0;
    case effGetEffectName:
      return (text && getEffectName(text)) ? 1 : 0;
    case effGetVendorString:
      return (text && getVendorString(text)) ? 1 : 0;
    case effGetProductString:
      return (text && getProductString(text)) ? 1 : 0;
    case effGetVendorVersion:
      return getVendorVersion();
    case effCanDo:
      return text ? canDo(text) : 0;
    case effGetTailSize:
      return getGetTailSize();
    case effKeysRequired:
      return 1;  // the editor does not need the computer keyboard
    case effGetVstVersion:
      return getVstVersion();
    case effEditKeyDown:
    case effEditKeyUp: {
      if (!editor) return 0;
      VstKeyCode key{index, static_cast<unsigned char>(value & 0xff),
                     static_cast<unsigned char>(truncateToInt32(opt) & 0xff)};
      return opcode == effEditKeyDown ? editor->onKeyDown(key) : editor->onKeyUp(key);
    }
    case effSetEditKnobMode:
      return editor ? editor->setKnobMode(value) : 0;
    case effGetCurrentMidiProgram:
      return -1;
    case effVendorSpecific:
      // The content-scale call: index 'PreS', value 'AeCs', the scale in opt.
      if (index != kContentScaleIndex || value != kContentScaleValue || !editor) return 0;
      if (editor->setScale(opt)) {
        ERect* r = nullptr;
        if (editor->getRect(&r) && r) callHost(audioMasterSizeWindow, r->right - r->left, r->bottom - r->top);
      }
      return 1;
    default:
      if (opcode >= effProcessEvents) return 0;
      return AudioEffect::dispatcher(opcode, index, value, ptr, opt);
  }
}
