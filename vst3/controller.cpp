// The plug-in's controller and unit faces: parameters and their texts, the
// program list, the editor's edits told to the host, and the view it opens.
#include <algorithm>
#include <new>

#include "plugin.h"
#include "shell/parameter_table.h"

namespace korro::vst3 {

Result Reverb::parameterInfo(std::int32_t index, ParameterInfo* out) const {
  if (!out) return kInvalidArgument;
  std::memset(out, 0, sizeof *out);
  if (const ParameterDescription* param = findParameter(index)) {
    out->id = static_cast<ParamId>(param->index);
    copyText(out->title, param->name);
    copyText(out->shortTitle, param->name);
    copyText(out->units, param->unit);
    out->stepCount = param->stepped ? 1 : 0;
    out->defaultNormalizedValue = param->defaultValue;
    // Bypass feeds or starves the springs and never passes the input
    // through, so it is not the host's bypass.
    out->flags = kCanAutomate;
    return kOk;
  }
  if (index != kParameterCount) return kInvalidArgument;
  out->id = kProgramParam;
  copyText(out->title, "Program");
  copyText(out->shortTitle, "Program");
  out->stepCount = kProgramSteps;
  out->flags = kIsList | kIsProgramChange;
  return kOk;
}

Result Reverb::valueText(ParamId id, double value, char16* out) {
  if (!out) return kInvalidArgument;
  char text[64] = {};
  if (id == kProgramParam) {
    if (!effect_.programName(programOf(value), text)) return kInvalidArgument;
  } else if (!parameterValueText(static_cast<std::int32_t>(id), value, text, sizeof text)) {
    return kInvalidArgument;
  }
  copyText(out, 128, text);
  return kOk;
}

Result Reverb::valueOfText(ParamId id, const char16* text, double* out) {
  if (!text || !out) return kInvalidArgument;
  char ascii[128] = {};
  for (int i = 0; i < 127 && text[i]; ++i) ascii[i] = text[i] < 128 ? static_cast<char>(text[i]) : '?';
  if (id == kProgramParam) {
    for (std::int32_t k = 0; k < kProgramCount; ++k) {
      char name[kProgramNameSize + 8] = {};
      effect_.programName(k, name);
      if (std::strcmp(name, ascii) == 0) {
        *out = static_cast<double>(k) / kProgramSteps;
        return kOk;
      }
    }
    return kFalse;
  }
  double v = 0.0;
  if (!parameterValueFromText(static_cast<std::int32_t>(id), ascii, v)) return kFalse;
  *out = v;
  return kOk;
}

double Reverb::normalized(ParamId id) {
  if (id == kProgramParam) return static_cast<double>(effect_.program()) / kProgramSteps;
  return findParameter(static_cast<std::int32_t>(id)) ? effect_.value(static_cast<std::int32_t>(id)) : 0.0;
}

// From the host's UI thread: the controller's view only. Hosts send the
// same change to the processor through its queues.
Result Reverb::setNormalized(ParamId id, double value) {
  if (id == kProgramParam) {
    if (programOf(value) != effect_.program()) effect_.showProgram(programOf(value));
    return kOk;
  }
  if (!findParameter(static_cast<std::int32_t>(id))) return kInvalidArgument;
  effect_.showValue(static_cast<std::int32_t>(id), static_cast<float>(value));
  return kOk;
}

Result Reverb::setHandler(ComponentHandler* handler) {
  if (handler) handler->table->addRef(handler);
  if (handler_) handler_->table->release(handler_);
  handler_ = handler;
  return kOk;
}

void* Reverb::createView(const char* name) {
  if (name && std::strcmp(name, "editor") != 0) return nullptr;
  if (!(effect_.record().flags & effFlagsHasEditor)) return nullptr;  // a build without editors
  auto* view = new (std::nothrow) View(this);
  void* face = nullptr;
  if (view) {
    view->query(&kPlugViewId, &face);
    view->release();  // the query's count is the host's
  }
  return face;
}

Result Reverb::programName(std::int32_t list, std::int32_t index, char16* out) {
  char name[64] = {};
  if (list != kProgramListId || !out || !effect_.programName(index, name)) return kInvalidArgument;
  copyText(out, 128, name);
  return kOk;
}

std::int32_t Reverb::programOf(double value) {
  if (!(value >= 0.0)) return 0;  // NaN too
  return static_cast<std::int32_t>(std::min(1.0, value) * kProgramSteps + 0.5);
}

void Reverb::beginEdit(std::int32_t index) {
  if (handler_) handler_->table->beginEdit(handler_, static_cast<ParamId>(index));
}

void Reverb::edit(std::int32_t index, float value) {
  if (handler_) handler_->table->performEdit(handler_, static_cast<ParamId>(index), value);
}

void Reverb::endEdit(std::int32_t index) {
  if (handler_) handler_->table->endEdit(handler_, static_cast<ParamId>(index));
}

// The editor asks for another size: the open view's frame is asked to resize.
bool Reverb::resizeEditor(std::int32_t width, std::int32_t height) {
  if (!view_ || !viewFrame_) return false;
  ViewRect r{0, 0, width, height};
  return viewFrame_->table->resizeView(viewFrame_, viewFace_, &r) == kOk;
}

// ---------------------------------------------------------------- tables

const EditControllerTable Reverb::kControllerTable = {
    .queryInterface = queryFace<EditControllerTable, Reverb>,
    .addRef = addRefFace<EditControllerTable, Reverb>,
    .release = releaseFace<EditControllerTable, Reverb>,
    .initialize = [](void*, void*) { return kOk; },
    .terminate = [](void*) { return kOk; },
    .setComponentState = [](void*, BStream*) { return kOk; },  // the component's state is this object's own
    .setState = [](void*, BStream*) { return kNotImplemented; },
    .getState = [](void*, BStream*) { return kNotImplemented; },
    .getParameterCount = [](void*) { return kParameterCount + 1; },
    .getParameterInfo = [](void* s, std::int32_t index, ParameterInfo* out) {
      return of<EditControllerTable>(s)->parameterInfo(index, out);
    },
    .getParamStringByValue = [](void* s, ParamId id, double value, char16* out) {
      return of<EditControllerTable>(s)->valueText(id, value, out);
    },
    .getParamValueByString = [](void* s, ParamId id, const char16* text, double* out) {
      return of<EditControllerTable>(s)->valueOfText(id, text, out);
    },
    .normalizedToPlain = [](void*, ParamId id, double v) {
      return id == kProgramParam ? static_cast<double>(Reverb::programOf(v)) : v;
    },
    .plainToNormalized = [](void*, ParamId id, double v) { return id == kProgramParam ? v / kProgramSteps : v; },
    .getParamNormalized = [](void* s, ParamId id) { return of<EditControllerTable>(s)->normalized(id); },
    .setParamNormalized = [](void* s, ParamId id, double v) { return of<EditControllerTable>(s)->setNormalized(id, v); },
    .setComponentHandler = [](void* s, ComponentHandler* h) { return of<EditControllerTable>(s)->setHandler(h); },
    .createView = [](void* s, const char* name) { return of<EditControllerTable>(s)->createView(name); },
};

const UnitInfoTable Reverb::kUnitTable = {
    .queryInterface = queryFace<UnitInfoTable, Reverb>,
    .addRef = addRefFace<UnitInfoTable, Reverb>,
    .release = releaseFace<UnitInfoTable, Reverb>,
    .getUnitCount = [](void*) -> std::int32_t { return 1; },
    .getUnitInfo = [](void*, std::int32_t index, UnitInfo* out) {
      if (index != 0 || !out) return kInvalidArgument;
      *out = {};
      out->id = 0;
      out->parentUnitId = -1;
      copyText(out->name, "Root");
      out->programListId = kProgramListId;
      return kOk;
    },
    .getProgramListCount = [](void*) -> std::int32_t { return 1; },
    .getProgramListInfo = [](void*, std::int32_t index, ProgramListInfo* out) {
      if (index != 0 || !out) return kInvalidArgument;
      *out = {};
      out->id = kProgramListId;
      copyText(out->name, "Factory programs");
      out->programCount = kProgramCount;
      return kOk;
    },
    .getProgramName = [](void* s, std::int32_t list, std::int32_t index, char16* out) {
      return of<UnitInfoTable>(s)->programName(list, index, out);
    },
    .getProgramInfo = [](void*, std::int32_t, std::int32_t, const char*, char16*) { return kFalse; },
    .hasProgramPitchNames = [](void*, std::int32_t, std::int32_t) { return kFalse; },
    .getProgramPitchName = [](void*, std::int32_t, std::int32_t, std::int16_t, char16*) { return kFalse; },
    .getSelectedUnit = [](void*) -> std::int32_t { return 0; },
    .selectUnit = [](void*, std::int32_t) { return kOk; },
    .getUnitByBus = [](void*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t* unit) {
      if (unit) *unit = 0;
      return kOk;
    },
    .setUnitProgramData = [](void*, std::int32_t, std::int32_t, BStream*) { return kNotImplemented; },
};

}  // namespace korro::vst3
