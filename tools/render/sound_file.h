// Audio files through libsndfile: the input read in blocks, the output written
// to a temporary file beside its final name and renamed only when complete.
#pragma once

#include <sndfile.h>

#include <cstdint>
#include <string>
#include <vector>

#include "options.h"

namespace korro::render {

class InputFile {
 public:
  explicit InputFile(const std::string& path);  // throws RenderError
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  int channels() const { return info_.channels; }
  int sampleRate() const { return info_.samplerate; }
  std::int64_t frames() const { return info_.frames; }

  // Reads up to n frames into left (and right for a stereo file); answers the
  // number read, 0 at the end.
  int read(float* left, float* right, int n);

 private:
  std::string path_;
  SNDFILE* file_ = nullptr;
  SF_INFO info_{};
  std::vector<float> interleaved_;
};

// libsndfile's format code for a stereo file named path, or a RenderError
// naming what is wrong with the extension or the requested sample format.
int outputFormatFor(const std::string& path, SampleFormat requested);

class PendingOutput {
 public:
  PendingOutput(const std::string& path, int format, int sampleRate);  // throws RenderError
  // Removes the temporary file unless commit() succeeded.
  ~PendingOutput();
  PendingOutput(const PendingOutput&) = delete;
  PendingOutput& operator=(const PendingOutput&) = delete;

  void write(const float* left, const float* right, int n);
  // Closes the file and gives it its final name.
  void commit();

  const std::string& temporaryPath() const { return temporary_; }

 private:
  void discard();

  std::string path_;
  std::string temporary_;
  SNDFILE* file_ = nullptr;
  bool committed_ = false;
  std::vector<float> interleaved_;
};

}  // namespace korro::render
