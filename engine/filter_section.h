// A self-designing biquad or one-pole section. The effect keeps a bank of
// all-pass sections ready at the engine rate; the designs follow the usual
// cookbook forms, with a sign-alternating offset against denormals.
#pragma once

namespace korro {

enum FilterType : int {
  None = 0,
  HighPass = 1,
  DcBlock = 2,
  LowShelf = 3,
  Peak = 4,
  BandPass = 5,
  Notch = 6,
  HighShelf = 7,
  LowPass = 8,
  OnePoleLowPass = 9,
  AllPass = 10,
};

class FilterSection {
 public:
  FilterSection(double sampleRate, int type, double frequency, double q, double gainDb);

  void design();
  void setSampleRate(double fs);
  void setType(int type);
  void setFrequency(double f);
  void setQ(double q);
  void setGain(double dB);

  double processSample(double x);
  double processBiquad(double x);

  double sampleRate;
  int type;
  double frequency;
  double q;
  double gainDb;
  double antiDenormal = 1e-14;
  double a0 = 1, a1 = 1, a2 = 1, b0 = 1, b1 = 1, b2 = 1;
  double xIn = 0, x1 = 0, x2 = 0, y = 0, y1 = 0, y2 = 0;

 private:
  void clearState();
  void resetCoefficients();
};

// The 32 all-pass sections the effect owns, in the order suspend redesigns them.
struct DispersionTuning {
  double frequency;
  double q;
};
inline constexpr int kDispersionSections = 32;
extern const DispersionTuning kDispersionBank[kDispersionSections];

}  // namespace korro
