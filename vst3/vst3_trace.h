// The host-call log of a developer's build (-DKORRO_VST3_TRACE=ON), never of
// what ships. With KORRO_VST3_TRACE=FILE in the host's environment, every
// face the plug-in hands out calls through a table that appends one line per
// call to FILE and then makes the call. Those tables are in vst3_trace.cpp,
// which only that build compiles; in any other, traced() hands back the table
// it is given and no trace code exists.
#pragma once

#include "vst3_abi.h"

namespace korro::vst3 {

#if defined(KORRO_VST3_TRACING)
const ComponentTable* traced(const ComponentTable* table);
const AudioProcessorTable* traced(const AudioProcessorTable* table);
const ProcessContextRequirementsTable* traced(const ProcessContextRequirementsTable* table);
const EditControllerTable* traced(const EditControllerTable* table);
const UnitInfoTable* traced(const UnitInfoTable* table);
const PlugViewTable* traced(const PlugViewTable* table);
const ContentScaleTable* traced(const ContentScaleTable* table);
const TimerHandlerTable* traced(const TimerHandlerTable* table);
// The factory as GetPluginFactory hands it out.
Interface<FactoryTable>* tracedFactory(Interface<FactoryTable>* factory);
#else
template <typename Table>
constexpr const Table* traced(const Table* table) {
  return table;
}
inline Interface<FactoryTable>* tracedFactory(Interface<FactoryTable>* factory) { return factory; }
#endif

}  // namespace korro::vst3
