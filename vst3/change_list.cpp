#include "change_list.h"

namespace korro::vst3 {

void ChangeList::read(ParameterChanges* changes, ParamId parameterCount, ParamId programId) {
  count_ = 0;
  hasProgram_ = false;
  if (!changes || !changes->table) return;

  struct Source {
    ParamValueQueue* queue;
    ParamId id;
    std::int32_t points;
  } sources[kMaxQueues];
  std::int32_t found = 0;
  std::int64_t total = 0;
  const std::int32_t queues = changes->table->getParameterCount(changes);
  for (std::int32_t q = 0; q < queues; ++q) {
    ParamValueQueue* queue = changes->table->getParameterData(changes, q);
    if (!queue || !queue->table) continue;
    const ParamId id = queue->table->getParameterId(queue);
    const std::int32_t points = queue->table->getPointCount(queue);
    if (points <= 0) continue;
    if (id == programId) {
      std::int32_t offset = 0;
      double value = 0.0;
      if (queue->table->getPoint(queue, points - 1, &offset, &value) == kOk) {
        hasProgram_ = true;
        program_ = value;
      }
      continue;
    }
    if (id >= parameterCount || found == kMaxQueues) continue;
    sources[found++] = {queue, id, points};
    total += points;
  }

  // Each queue's points, thinned evenly when there are too many in all.
  std::int32_t start[kMaxQueues + 1];
  std::int32_t n = 0;
  for (std::int32_t s = 0; s < found; ++s) {
    start[s] = n;
    const Source& src = sources[s];
    const std::int64_t share = total <= kAccurate ? src.points : src.points * std::int64_t{kAccurate} / total;
    const auto keep = static_cast<std::int32_t>(share < 1 ? 1 : share);
    for (std::int32_t j = 0; j < keep; ++j) {
      // j = keep - 1 takes the last point.
      const auto p = static_cast<std::int32_t>((j + 1) * std::int64_t{src.points} / keep - 1);
      Change c{0, src.id, 0.0};
      if (src.queue->table->getPoint(src.queue, p, &c.offset, &c.value) == kOk) read_[n++] = c;
    }
  }
  start[found] = n;

  // Merged by offset, the earlier queue first on a tie.
  std::int32_t next[kMaxQueues];
  for (std::int32_t s = 0; s < found; ++s) next[s] = start[s];
  for (count_ = 0; count_ < n; ++count_) {
    std::int32_t from = -1;
    for (std::int32_t s = 0; s < found; ++s)
      if (next[s] < start[s + 1] && (from < 0 || read_[next[s]].offset < read_[next[from]].offset)) from = s;
    list_[count_] = read_[next[from]++];
  }
  // A queue out of order (hosts must not send one) is put in order too.
  for (std::int32_t i = 1; i < count_; ++i) {
    const Change c = list_[i];
    std::int32_t at = i;
    for (; at > 0 && list_[at - 1].offset > c.offset; --at) list_[at] = list_[at - 1];
    list_[at] = c;
  }
}

}  // namespace korro::vst3
