#include "sound_file.h"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstring>

namespace korro::render {

namespace {

std::string systemError() { return std::strerror(errno); }

// libsndfile's texts sometimes end in a full stop or a newline; the message is one line.
std::string sndfileError(SNDFILE* file) {
  std::string s = sf_strerror(file);
  while (!s.empty() && (s.back() == '\n' || s.back() == '.' || s.back() == ' ')) s.pop_back();
  std::replace(s.begin(), s.end(), '\n', ' ');
  return s;
}

std::string lowerExtension(const std::string& path) {
  const auto slash = path.find_last_of('/');
  const auto dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  std::string ext = path.substr(dot + 1);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return ext;
}

// A render stopped by a signal must not leave its half-written temporary
// behind. The handler only uses async-signal-safe calls.
char pendingPath[PATH_MAX];
volatile sig_atomic_t pendingActive = 0;
constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

extern "C" void removePendingAndDie(int sig) {
  if (pendingActive) unlink(pendingPath);
  signal(sig, SIG_DFL);
  raise(sig);
}

sigset_t cleanupSignalSet() {
  sigset_t set;
  sigemptyset(&set);
  for (int sig : kCleanupSignals) sigaddset(&set, sig);
  return set;
}

}  // namespace

// ------------------------------------------------------------------ input

InputFile::InputFile(const std::string& path) : path_(path) {
  struct stat st{};
  if (stat(path.c_str(), &st) != 0) throw RenderError("cannot open input '" + path + "': " + systemError());
  if (S_ISDIR(st.st_mode)) throw RenderError("input '" + path + "' is a directory");
  if (access(path.c_str(), R_OK) != 0) throw RenderError("cannot read input '" + path + "': " + systemError());
  file_ = sf_open(path.c_str(), SFM_READ, &info_);
  if (!file_) throw RenderError("cannot read input '" + path + "' as audio: " + sndfileError(nullptr));
  if (info_.channels < 1 || info_.channels > 2) {
    const int channels = info_.channels;
    sf_close(file_);
    file_ = nullptr;
    throw RenderError("input '" + path + "' has " + std::to_string(channels) +
                      " channels; only mono and stereo files can be rendered");
  }
  if (info_.samplerate <= 0) {
    sf_close(file_);
    file_ = nullptr;
    throw RenderError("input '" + path + "' has no valid sample rate");
  }
}

InputFile::~InputFile() {
  if (file_) sf_close(file_);
}

int InputFile::read(float* left, float* right, int n) {
  if (n <= 0) return 0;
  const int ch = info_.channels;
  interleaved_.resize(static_cast<std::size_t>(n) * ch);
  const sf_count_t got = sf_readf_float(file_, interleaved_.data(), n);
  if (got < 0) throw RenderError("reading '" + path_ + "' failed: " + sndfileError(file_));
  const int frames = static_cast<int>(got);
  if (ch == 1) {
    std::copy_n(interleaved_.data(), frames, left);
  } else {
    for (int i = 0; i < frames; ++i) {
      left[i] = interleaved_[2 * i];
      right[i] = interleaved_[2 * i + 1];
    }
  }
  // A decoding error mid-file shows up as a short read with the error set.
  if (frames < n && sf_error(file_) != SF_ERR_NO_ERROR)
    throw RenderError("reading '" + path_ + "' failed: " + sndfileError(file_));
  return frames;
}

// ----------------------------------------------------------------- format

int outputFormatFor(const std::string& path, SampleFormat requested) {
  const std::string ext = lowerExtension(path);
  int container = 0;
  int byDefault = SF_FORMAT_FLOAT;
  if (ext == "wav") {
    container = SF_FORMAT_WAV;
  } else if (ext == "aif" || ext == "aiff" || ext == "aifc") {
    container = SF_FORMAT_AIFF;
  } else if (ext == "caf") {
    container = SF_FORMAT_CAF;
  } else if (ext == "flac") {
    container = SF_FORMAT_FLAC;
    byDefault = SF_FORMAT_PCM_24;
  } else if (ext == "ogg" || ext == "oga") {
    if (requested != SampleFormat::Default)
      throw RenderError("output '" + path + "' is Ogg Vorbis, which has no sample format to choose; leave out --format");
    return SF_FORMAT_OGG | SF_FORMAT_VORBIS;
  } else {
    throw RenderError("cannot write '" + path + "': unsupported extension " +
                      (ext.empty() ? std::string("(none)") : "'." + ext + "'") +
                      "; use .wav, .aiff, .caf, .flac or .ogg");
  }

  int subtype = byDefault;
  switch (requested) {
    case SampleFormat::Default: break;
    case SampleFormat::Float: subtype = SF_FORMAT_FLOAT; break;
    case SampleFormat::Pcm24: subtype = SF_FORMAT_PCM_24; break;
    case SampleFormat::Pcm16: subtype = SF_FORMAT_PCM_16; break;
  }
  if (container == SF_FORMAT_FLAC && subtype == SF_FORMAT_FLOAT)
    throw RenderError("FLAC cannot hold float samples; use --format pcm24 or pcm16 for '" + path + "'");
  return container | subtype;
}

// ----------------------------------------------------------------- output

PendingOutput::PendingOutput(const std::string& path, int format, int sampleRate) : path_(path) {
  SF_INFO info{};
  info.samplerate = sampleRate;
  info.channels = 2;
  info.format = format;
  if (!sf_format_check(&info))
    throw RenderError("cannot write '" + path + "' at " + std::to_string(sampleRate) + " Hz in this format");

  const auto slash = path.find_last_of('/');
  const std::string dir = slash == std::string::npos ? "." : (slash == 0 ? "/" : path.substr(0, slash));
  const std::string base = slash == std::string::npos ? path : path.substr(slash + 1);
  if (base.empty()) throw RenderError("output '" + path + "' names a directory, not a file");
  struct stat st{};
  if (stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
    throw RenderError("output '" + path + "' is a directory");

  const std::string pattern = dir + "/." + base + ".XXXXXX";
  if (pattern.size() >= sizeof pendingPath) throw RenderError("output path '" + path + "' is too long");

  // The signal handler must never see a half-registered temporary.
  const sigset_t signals = cleanupSignalSet();
  sigset_t previous;
  sigprocmask(SIG_BLOCK, &signals, &previous);
  std::memcpy(pendingPath, pattern.c_str(), pattern.size() + 1);
  const int fd = mkstemp(pendingPath);
  const int mkstempErrno = errno;
  if (fd >= 0) {
    temporary_ = pendingPath;
    pendingActive = 1;
    for (int sig : kCleanupSignals) {
      struct sigaction sa{};
      sa.sa_handler = removePendingAndDie;
      sigemptyset(&sa.sa_mask);
      sigaction(sig, &sa, nullptr);
    }
  }
  sigprocmask(SIG_SETMASK, &previous, nullptr);
  if (fd < 0) {
    errno = mkstempErrno;
    throw RenderError("cannot create output in '" + dir + "': " + systemError());
  }

  // mkstemp makes the file private; give it the mode a plain create would.
  const mode_t mask = umask(0);
  umask(mask);
  fchmod(fd, 0666 & ~mask);

  file_ = sf_open_fd(fd, SFM_WRITE, &info, SF_TRUE);
  if (!file_) {
    // libsndfile owns the descriptor from here on, failure or not.
    const std::string why = sndfileError(nullptr);
    discard();
    throw RenderError("cannot write '" + path + "': " + why);
  }
  // Integer formats clip an over-full-scale sample instead of wrapping it.
  sf_command(file_, SFC_SET_CLIPPING, nullptr, SF_TRUE);
}

PendingOutput::~PendingOutput() {
  if (!committed_) discard();
}

void PendingOutput::discard() {
  if (file_) sf_close(file_);
  file_ = nullptr;
  if (!temporary_.empty()) unlink(temporary_.c_str());
  pendingActive = 0;
  temporary_.clear();
}

void PendingOutput::write(const float* left, const float* right, int n) {
  if (n <= 0) return;
  interleaved_.resize(static_cast<std::size_t>(n) * 2);
  for (int i = 0; i < n; ++i) {
    interleaved_[2 * i] = left[i];
    interleaved_[2 * i + 1] = right[i];
  }
  if (sf_writef_float(file_, interleaved_.data(), n) != n)
    throw RenderError("writing '" + path_ + "' failed: " + sndfileError(file_));
}

void PendingOutput::commit() {
  sf_write_sync(file_);
  const int closed = sf_close(file_);
  file_ = nullptr;
  if (closed != 0) throw RenderError("writing '" + path_ + "' failed: " + sndfileError(nullptr));
  if (rename(temporary_.c_str(), path_.c_str()) != 0)
    throw RenderError("cannot create '" + path_ + "': " + systemError());
  pendingActive = 0;
  temporary_.clear();
  committed_ = true;
}

}  // namespace korro::render
