// The spring reverb as a plug-in front holds it: created with the front's own
// host callback and driven through its effect record, as a VST 2 host drives
// it, so every front gives the VST 2 module's samples.
//
// Threads, for fronts whose hosts call from two (CLAP, VST3). Only the audio
// side — whichever thread processes, activates, deactivates or resets — ever
// changes the effect: values, programs, the engine. The main (UI) thread
// keeps a view of the values (what the host reads back, the editor shows and
// a saved state holds: the latest of what either side did) and hands state
// loads and program selections over in a record that the audio side applies
// at activation, reset or the start of its next block, before any sample,
// allocating nothing. A value or program only shown on the main thread (a
// VST3 controller's write) reaches the effect at the next activation unless
// a block ran since. No main-thread decision depends on whether audio runs.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

#include "editor/editor_factory.h"
#include "front_buffers.h"
#include "programs.h"
#include "shell/base/edit_controller.h"
#include "shell/base/vst_abi.h"
#include "state_stream.h"

class ReverbEffect;

namespace korro {

// What a front tells its host on the effect's behalf. Main thread.
class HostSide {
 public:
  // An editor's edit, always as a whole gesture: begin, values, end.
  virtual void beginEdit(std::int32_t index) = 0;
  virtual void edit(std::int32_t index, float value) = 0;
  virtual void endEdit(std::int32_t index) = 0;
  // The editor asks for a window of this size.
  virtual bool resizeEditor(std::int32_t /*width*/, std::int32_t /*height*/) { return false; }

 protected:
  ~HostSide() = default;
};

class HostedEffect {
 public:
  static constexpr int kValues = 5;

  // maxBlock is what the effect hears when it asks for the host's block size.
  // With a factory the effect has an editor, which edits through this object
  // and reports to `host`. Throws what the effect's constructor throws.
  explicit HostedEffect(std::int32_t maxBlock, EditorFactory makeEditor = nullptr, HostSide* host = nullptr);
  ~HostedEffect();  // effClose
  HostedEffect(const HostedEffect&) = delete;
  HostedEffect& operator=(const HostedEffect&) = delete;

  // ---- The effect record, as a plain VST 2 host uses it (one thread, or the editor's opcodes).
  std::intptr_t dispatch(std::int32_t opcode, std::int32_t index = 0, std::intptr_t value = 0, void* ptr = nullptr,
                         float opt = 0.0f);
  void setParameter(std::int32_t index, float value);
  float getParameter(std::int32_t index);
  void processReplacing(float** inputs, float** outputs, std::int32_t frames);
  // The usual start: rate, block size, resume.
  void start(float sampleRate);
  const AEffect& record() const { return *record_; }
  // The largest left output magnitude since the last call, taken and cleared
  // as the editor's idle takes its meter.
  float takeLeftPeak();
  // The value the engine uses (thread-safe).
  float engineValue(std::int32_t index) const;

  // ---- Main thread.
  float value(std::int32_t index) const;
  std::int32_t program() const { return viewProgram_.load(std::memory_order_relaxed); }
  bool programName(std::int32_t program, char* text) const;  // at least kProgramNameSize bytes
  // The latest values and program table; false when the stream fails.
  bool save(StateWriter& out) const;
  // A state read whole and checked, shown at once and handed over; false
  // (and nothing changed) for a stream that is not a whole state of ours.
  bool load(StateReader& in);
  // A program selected (a preset loaded): shown at once and handed over.
  void selectProgram(std::int32_t program);
  // A controller's write or program choice: shown only, for the effect at its next activation.
  void showValue(std::int32_t index, float value);
  void showProgram(std::int32_t program);

  // ---- Main thread while inactive (it may allocate): set-up for blocks of up to maxBlock frames.
  bool prepare(std::int32_t maxBlock);

  // ---- Audio side.
  // Rate and block size as prepared last; what was handed over or only shown applies first.
  bool activate(float rate, std::int32_t maxBlock);
  void deactivate();
  // Silence, as a new instance would give, keeping the values.
  void reset();
  // Before a block: what was handed over applies; what was only shown is dropped.
  void beginBlock();
  // A host's change of a value, or its program choice, inside a block.
  void change(std::int32_t index, float value);
  void changeProgram(std::int32_t program);
  std::int32_t effectProgram() const;
  // Frames [from, from + n) of the block bound to the buffers.
  FrontBuffers& buffers() { return buffers_; }
  void run(std::int32_t from, std::int32_t n) { buffers_.run(record_, from, n); }
  // After a block: the view takes the values the block changed.
  void endBlock();
  float sampleRate() const { return rate_.load(std::memory_order_relaxed); }
  // How long the reverb rings at `rate` with the values the engine uses (see tail.h). Thread-safe.
  std::int32_t tail(double rate) const;

 private:
  static std::intptr_t KORRO_CDECL callback(AEffect* effect, std::int32_t opcode, std::int32_t index,
                                            std::intptr_t value, void* ptr, float opt);

  // The editor's controller: the view, and every edit as a whole gesture.
  class Editing final : public EditController {
   public:
    explicit Editing(HostedEffect& owner) : owner_(owner) {}
    float getParameter(std::int32_t index) override { return owner_.value(index); }
    void setParameterAutomated(std::int32_t index, float value) override;
    void beginEdit(std::int32_t index) override;
    void endEdit(std::int32_t index) override;
    LevelMeter* levelMeter() override;

   private:
    HostedEffect& owner_;
    bool open_[kValues] = {};
  };

  // The program table's values as the main thread last knew them.
  float tableValue(std::int32_t program, std::int32_t index) const;
  // Sets the view; tells the editor.
  void show(std::int32_t index, float value);
  void showFromEffect();
  // The record from the main thread; true when one was applied.
  bool applyHandedOver();
  void applyShown();

  ReverbEffect* reverb_ = nullptr;
  AEffect* record_ = nullptr;
  std::atomic<std::int32_t> maxBlock_;
  std::atomic<float> rate_{44100.0f};
  HostSide* host_;
  Editing editing_{*this};
  FrontBuffers buffers_;

  // The view: main thread and audio side, the later write wins.
  std::atomic<float> view_[kValues];
  std::atomic<std::int32_t> viewProgram_{0};
  // Bumped by every value or program only shown; the audio side notes what it has seen.
  std::atomic<std::uint32_t> shownValue_[kValues] = {};
  std::atomic<std::uint32_t> shownProgram_{0};
  std::uint32_t seenValue_[kValues] = {};
  std::uint32_t seenProgram_ = 0;

  // The handed-over record: one writer (main), one reader (audio). The
  // sequence is odd while it is written; the reader takes only an even one
  // that stayed the same while it read.
  struct HandedOver {
    std::atomic<std::uint32_t> sequence{0};
    std::atomic<bool> withTable{false};
    std::atomic<std::int32_t> program{0};
    std::atomic<float> table[kProgramCount][kValues] = {};
    std::atomic<std::uint32_t> shownValue[kValues] = {};
    std::atomic<std::uint32_t> shownProgram{0};
  } handed_;
  std::atomic<std::uint32_t> applied_{0};  // the last sequence the audio side applied
  std::uint32_t touched_ = 0;               // audio side: values a block changed
};

// One block of the bound buffers, run in pieces split at its changes, so the
// effect hears each change where a VST 2 host would have cut the block.
class BlockSplitter {
 public:
  BlockSplitter(HostedEffect& effect, std::int32_t frames) : effect_(effect), frames_(frames) {}
  // The frames before `frame` run, then the change applies. A frame past the
  // block's end runs the whole block first; one before an earlier change's, none.
  void change(std::int64_t frame, std::int32_t index, float value) {
    const auto at = static_cast<std::int32_t>(std::clamp<std::int64_t>(frame, 0, frames_));
    if (at > done_) {
      effect_.run(done_, at - done_);
      done_ = at;
    }
    effect_.change(index, value);
  }
  // The frames after the last change.
  void finish() {
    if (frames_ > done_) effect_.run(done_, frames_ - done_);
    done_ = frames_;
  }

 private:
  HostedEffect& effect_;
  const std::int32_t frames_;
  std::int32_t done_ = 0;
};

}  // namespace korro
