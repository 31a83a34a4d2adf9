#include "hosted_effect.h"

#include "shell/reverb_effect.h"

namespace korro::lv2 {

namespace {
constexpr std::intptr_t kHostVersion = 2400;
}

HostedEffect::HostedEffect(std::int32_t maxBlock) : maxBlock_(maxBlock) {
  reverb_ = new ReverbEffect(&HostedEffect::callback);
  record_ = reverb_->getAeffect();
  // The host's own field of the record: how the callback finds this front.
  record_->user = this;
}

HostedEffect::~HostedEffect() { dispatch(effClose); }  // the record's entry deletes the effect

// Connected pins, the announced maximum for the block size, 0 for the rest:
// the answers the effect relies on from a plain VST 2 host.
std::intptr_t HostedEffect::callback(AEffect* effect, std::int32_t opcode, std::int32_t /*index*/,
                                     std::intptr_t /*value*/, void* /*ptr*/, float /*opt*/) {
  switch (opcode) {
    case audioMasterVersion:
      return kHostVersion;
    case audioMasterGetBlockSize: {
      // Asked once while the effect is still being built, before the record knows its host.
      const auto* self = effect ? static_cast<const HostedEffect*>(effect->user) : nullptr;
      return self ? self->maxBlock_ : 0;
    }
    default:
      return 0;  // audioMasterPinConnected: 0 means connected
  }
}

std::intptr_t HostedEffect::dispatch(std::int32_t opcode, std::int32_t index, std::intptr_t value, void* ptr,
                                     float opt) {
  return record_->dispatcher(record_, opcode, index, value, ptr, opt);
}

void HostedEffect::setParameter(std::int32_t index, float value) { record_->setParameter(record_, index, value); }

float HostedEffect::getParameter(std::int32_t index) { return record_->getParameter(record_, index); }

void HostedEffect::processReplacing(float** inputs, float** outputs, std::int32_t frames) {
  record_->processReplacing(record_, inputs, outputs, frames);
}

void HostedEffect::start(float sampleRate) {
  dispatch(effSetSampleRate, 0, 0, nullptr, sampleRate);
  dispatch(effSetBlockSize, 0, maxBlock_);
  dispatch(effMainsChanged, 0, 1);
}

float HostedEffect::takeLeftPeak() {
  constexpr auto r = std::memory_order_relaxed;
  LevelMeter& meter = reverb_->meter;
  meter.peakRight.store(0.0f, r);
  meter.blockCount.store(0, r);  // nothing else clears it here, and it must not run over
  return meter.peakLeft.exchange(0.0f, r);
}

}  // namespace korro::lv2
