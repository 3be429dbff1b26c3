#include "effects/equalizer_iir.h"

#include <cmath>
#include <complex>
#include <cstdio>
#include <cstring>

#include "effects/processor_features.h"
#include "effects/stereo_frames.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace vantaro {
namespace {

struct Section {
  double a1, a2, k;
};

struct BandDesign {
  double g;
  int sectionCount;
  Section sections[4];
};

// The fixed crossover cascades at 44100 Hz: four-pole low-pass at ~343 Hz,
// eight-pole band-pass ~343..8000 Hz, four-pole high-pass at 8000 Hz.
constexpr BandDesign kBands[3] = {
    {1.61606803597387e-6,
     2,
     {{-1.902381209719362, 0.90813023596589, 2.0}, {-1.871143706630871, 0.8756413532699335, 2.0}}},
    {0.06624911184645224,
     4,
     {{-0.009262113814037748, 0.2432914511959453, -2.0},
      {-1.961681660190477, 0.9626416678272747, -2.0},
      {-0.1456873794746027, 0.02829410901906353, 2.0},
      {-1.932673631143553, 0.9339131720449145, 2.0}}},
    {0.293256802062472,
     2,
     {{-1.014854146667207, 0.4007327809326599, -2.0},
      {-0.776218060344873, 0.1662120709779701, -2.0}}},
};

// Added to w[n-1] as it moves on to w[n-2], off the path that the next
// frame waits on: keeps the history away from denormals.
constexpr double kHistoryGuard = 1e-30;

const char* const kBandNames[3] = {"Low", "Mid", "High"};

}  // namespace

struct CEffectEqualizerIIR::Crossover {
  // w[n-1], w[n-2] per section and channel.
  double w1[4][2] = {};
  double w2[4][2] = {};
};

CEffectEqualizerIIR::CEffectEqualizerIIR()
    : crossover_(new Crossover[kBandCount]),
      bandBuffer_(new float[static_cast<std::size_t>(kBandCount) * kMaxFrames * 2]()) {
  for (int b = 0; b < kBandCount; ++b) {
    bandDb_[b].store(0.0f);
    bandPending_[b].store(false);
    // As SetParam(b, 0) leaves a band, starting from silence: the first
    // blocks fade the bands in.
    gainCurrent_[b] = 1.0;
    gainTarget_[b] = 2.0;
    gainFactor_[b] = std::pow(2.0, 1.0 / kRampSteps);
    gainValue_[b] = 1.0f;
  }
  DesignBiquad(shelf_[0], 260.0f, 0.0f, 0.95f, kBiquadLowShelf);
  DesignBiquad(shelf_[1], 260.0f, 0.0f, 0.95f, kBiquadLowShelf);
  DesignBiquad(shelf_[2], std::sqrt(2.6e6f), 0.0f, 0.6f, kBiquadPeaking);
  DesignBiquad(shelf_[3], std::sqrt(2.6e6f), 0.0f, 0.6f, kBiquadPeaking);
  DesignBiquad(shelf_[4], 6000.0f, 0.0f, 0.95f, kBiquadHighShelf);
  DesignBiquad(shelf_[5], 6000.0f, 0.0f, 0.95f, kBiquadHighShelf);
}

CEffectEqualizerIIR::~CEffectEqualizerIIR() = default;

void CEffectEqualizerIIR::Start() {
  Reset();
  active_ = 1;
}

void CEffectEqualizerIIR::Reset() {
  for (TBiquad& f : shelf_) ResetBiquad(f);
}

double EqualizerResponse(double hz, const double bandGain[3]) {
  const std::complex<double> z1 = std::polar(1.0, -2.0 * M_PI * hz / 44100.0), z2 = z1 * z1;
  std::complex<double> sum = 0.0;
  for (int b = 0; b < 3; ++b) {
    std::complex<double> h = kBands[b].g;
    for (int s = 0; s < kBands[b].sectionCount; ++s) {
      const Section& sec = kBands[b].sections[s];
      h *= (1.0 + sec.k * z1 + z2) / (1.0 + sec.a1 * z1 + sec.a2 * z2);
    }
    sum += h * bandGain[b];
  }
  return 20.0 * std::log10(std::abs(sum));
}

void CEffectEqualizerIIR::RecoverFromNonFinite() {
  Reset();
  for (int b = 0; b < kBandCount; ++b) crossover_[b] = Crossover{};
}

void CEffectEqualizerIIR::SetParam(int band, int dB) {
  if (band < 1 || band > kBandCount) return;
  if (dB < kKillThresholdDb) dB = kKilledDb;
  const int b = band - 1;
  bandDb_[b].store(static_cast<float>(dB));
  static constexpr float kFrequency[3] = {260.0f, 1612.4515f, 6000.0f};
  static constexpr float kQ[3] = {0.95f, 0.6f, 0.95f};
  static constexpr int kType[3] = {kBiquadLowShelf, kBiquadPeaking, kBiquadHighShelf};
  DesignBiquad(shelf_[b * 2], kFrequency[b], static_cast<float>(dB), kQ[b], kType[b]);
  DesignBiquad(shelf_[b * 2 + 1], kFrequency[b], static_cast<float>(dB), kQ[b], kType[b]);
  bandPending_[b].store(true, std::memory_order_release);
}

int CEffectEqualizerIIR::GetParam(int band) {
  if (band < 1 || band > kBandCount) return 0;
  return static_cast<int>(std::lround(bandDb_[band - 1].load()));
}

std::string CEffectEqualizerIIR::GetParamName(int id) {
  return id >= 1 && id <= kBandCount ? kBandNames[id - 1] : "";
}

std::string CEffectEqualizerIIR::GetParamUnit(int id) {
  return id >= 1 && id <= kBandCount ? "dB" : "";
}

std::string CEffectEqualizerIIR::GetParamText(int id) {
  char text[32];
  std::snprintf(text, sizeof text, "%d", GetParam(id));
  return text;
}

// Audio thread: a new band value starts a ramp from where the old one stands.
void CEffectEqualizerIIR::ApplyPendingBands() {
  for (int b = 0; b < kBandCount; ++b) {
    if (!bandPending_[b].exchange(false, std::memory_order_acquire)) continue;
    const double db = bandDb_[b].load(std::memory_order_relaxed);
    const double linear = db > -318.8 ? std::pow(10.0, db * 0.05) : 0.0;
    gainTarget_[b] = linear + 1.0;
    gainFactor_[b] = std::pow(gainTarget_[b] / gainCurrent_[b], 1.0 / kRampSteps);
  }
}

namespace {

// The plain path: one float after another, channel by channel.
void RunBandPlain(const BandDesign& design, CEffectEqualizerIIR::Crossover& state,
                  const float* input, float* out, int frames) {
  for (int i = 0; i < frames * 2; ++i) {
    const int ch = i & 1;
    double x = input[i] * design.g;
    for (int s = 0; s < design.sectionCount; ++s) {
      const Section& sec = design.sections[s];
      double& w1 = state.w1[s][ch];
      double& w2 = state.w2[s][ch];
      const double w = x - sec.a2 * w2 - sec.a1 * w1;
      x = w + sec.k * w1 + w2;
      w2 = w1 + kHistoryGuard;
      w1 = w;
    }
    out[i] = static_cast<float>(x);
  }
}

#if defined(__SSE2__)
// The same operations in the same order on both channels at once (lanes:
// left, right), so the two paths agree to the bit. The section count fixed
// at compile time keeps the history in registers.
template <int kSections>
void RunBandPair(const BandDesign& design, CEffectEqualizerIIR::Crossover& state,
                 const float* input, float* out, int frames) {
  __m128d a1[kSections], a2[kSections], k[kSections], w1[kSections], w2[kSections];
  for (int s = 0; s < kSections; ++s) {
    a1[s] = _mm_set1_pd(design.sections[s].a1);
    a2[s] = _mm_set1_pd(design.sections[s].a2);
    k[s] = _mm_set1_pd(design.sections[s].k);
    w1[s] = _mm_loadu_pd(state.w1[s]);
    w2[s] = _mm_loadu_pd(state.w2[s]);
  }
  const __m128d g = _mm_set1_pd(design.g), guard = _mm_set1_pd(kHistoryGuard);
  for (int i = 0; i < frames; ++i) {
    __m128d x = _mm_mul_pd(LoadStereoFrame(input + i * 2), g);
    for (int s = 0; s < kSections; ++s) {
      const __m128d w =
          _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(a2[s], w2[s])), _mm_mul_pd(a1[s], w1[s]));
      x = _mm_add_pd(_mm_add_pd(w, _mm_mul_pd(k[s], w1[s])), w2[s]);
      w2[s] = _mm_add_pd(w1[s], guard);
      w1[s] = w;
    }
    StoreStereoFrame(out + i * 2, x);
  }
  for (int s = 0; s < kSections; ++s) {
    _mm_storeu_pd(state.w1[s], w1[s]);
    _mm_storeu_pd(state.w2[s], w2[s]);
  }
}
#endif

#if defined(__x86_64__)
#define VANTARO_EQUALIZER_AVX 1
// Four double lanes (AVX, chosen at run time): the low and high bands side
// by side, and the mid band's four sections as two skewed pairs. Each lane
// does what the plain path does for its section and channel, in the same
// order, so all paths agree to the bit.
static_assert(kBands[0].sectionCount == 2 && kBands[2].sectionCount == 2 &&
              kBands[1].sectionCount == 4);

using Crossover = CEffectEqualizerIIR::Crossover;

// One section in each half (lanes 0-1 and 2-3, each left and right).
struct FourLanes {
  __m256d a1, a2, k, w1, w2;
};

__attribute__((target("avx"))) inline __m256d Join(__m128d low, __m128d high) {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(low), high, 1);
}

__attribute__((target("avx"))) FourLanes LoadLanes(int lowBand, int lowSection, int highBand,
                                                   int highSection, const Crossover* state) {
  const Section& l = kBands[lowBand].sections[lowSection];
  const Section& h = kBands[highBand].sections[highSection];
  return {_mm256_set_pd(h.a1, h.a1, l.a1, l.a1), _mm256_set_pd(h.a2, h.a2, l.a2, l.a2),
          _mm256_set_pd(h.k, h.k, l.k, l.k),
          Join(_mm_loadu_pd(state[lowBand].w1[lowSection]),
               _mm_loadu_pd(state[highBand].w1[highSection])),
          Join(_mm_loadu_pd(state[lowBand].w2[lowSection]),
               _mm_loadu_pd(state[highBand].w2[highSection]))};
}

__attribute__((target("avx"))) void StoreLanes(const FourLanes& lanes, int lowBand, int lowSection,
                                               int highBand, int highSection, Crossover* state) {
  _mm_storeu_pd(state[lowBand].w1[lowSection], _mm256_castpd256_pd128(lanes.w1));
  _mm_storeu_pd(state[lowBand].w2[lowSection], _mm256_castpd256_pd128(lanes.w2));
  _mm_storeu_pd(state[highBand].w1[highSection], _mm256_extractf128_pd(lanes.w1, 1));
  _mm_storeu_pd(state[highBand].w2[highSection], _mm256_extractf128_pd(lanes.w2, 1));
}

__attribute__((target("avx"))) inline __m256d StepLanes(FourLanes& s, __m256d x) {
  const __m256d w =
      _mm256_sub_pd(_mm256_sub_pd(x, _mm256_mul_pd(s.a2, s.w2)), _mm256_mul_pd(s.a1, s.w1));
  const __m256d y = _mm256_add_pd(_mm256_add_pd(w, _mm256_mul_pd(s.k, s.w1)), s.w2);
  s.w2 = _mm256_add_pd(s.w1, _mm256_set1_pd(kHistoryGuard));
  s.w1 = w;
  return y;
}

// Keeps the history of the lanes in `mask` (blend bits) as in `before`.
__attribute__((target("avx"))) inline void KeepLanes(FourLanes& s, const FourLanes& before,
                                                     int mask) {
  if (mask == 0x3) {
    s.w1 = _mm256_blend_pd(s.w1, before.w1, 0x3), s.w2 = _mm256_blend_pd(s.w2, before.w2, 0x3);
  } else {
    s.w1 = _mm256_blend_pd(s.w1, before.w1, 0xC), s.w2 = _mm256_blend_pd(s.w2, before.w2, 0xC);
  }
}

// Low band in lanes 0-1, high band in lanes 2-3.
__attribute__((target("avx"))) void RunOuterBandsAvx(Crossover* state, const float* input,
                                                     float* low, float* high, int frames) {
  FourLanes first = LoadLanes(0, 0, 2, 0, state), second = LoadLanes(0, 1, 2, 1, state);
  const __m256d g = _mm256_set_pd(kBands[2].g, kBands[2].g, kBands[0].g, kBands[0].g);
  for (int i = 0; i < frames; ++i) {
    const __m128d x = LoadStereoFrame(input + i * 2);
    const __m256d y = StepLanes(second, StepLanes(first, _mm256_mul_pd(Join(x, x), g)));
    const __m128 out = _mm256_cvtpd_ps(y);
    _mm_storel_pi(reinterpret_cast<__m64*>(low + i * 2), out);
    _mm_storeh_pi(reinterpret_cast<__m64*>(high + i * 2), out);
  }
  StoreLanes(first, 0, 0, 2, 0, state);
  StoreLanes(second, 0, 1, 2, 1, state);
}

// Mid band: lanes 0-1 run sections 1 and 2 on frame n while lanes 2-3 run
// sections 3 and 4 on frame n - kMidSkew: frames that far apart, one frame's
// step need not wait for the last one's. A block's first kMidSkew steps fill
// the pipe with lanes 2-3 held, its last kMidSkew drain it with lanes 0-1
// held: nothing is carried between blocks but the history.
constexpr int kMidSkew = 4;

struct MidPipe {
  FourLanes odd, even;  // sections 1 | 3, sections 2 | 4
  // Section 2's output of the last kMidSkew frames, the newest first.
  __m128d middle[kMidSkew];
};

__attribute__((target("avx"))) inline void ShiftMiddle(MidPipe& pipe, __m128d newest) {
  for (int j = kMidSkew - 1; j > 0; --j) pipe.middle[j] = pipe.middle[j - 1];
  pipe.middle[0] = newest;
}

__attribute__((target("avx"))) inline __m256d StepMid(MidPipe& pipe, __m128d x) {
  const __m256d y = StepLanes(pipe.even, StepLanes(pipe.odd, Join(x, pipe.middle[kMidSkew - 1])));
  ShiftMiddle(pipe, _mm256_castpd256_pd128(y));
  return y;
}

// Step i of a block of `frames` at either end, where a half has no frame.
__attribute__((target("avx"))) void StepMidEdge(MidPipe& pipe, int i, int frames,
                                                const float* input, float* out) {
  const bool lowActive = i < frames, highActive = i >= kMidSkew;
  if (!lowActive && !highActive) {  // a block shorter than the pipe
    ShiftMiddle(pipe, _mm_setzero_pd());
    return;
  }
  const __m128d x = lowActive ? _mm_mul_pd(LoadStereoFrame(input + i * 2), _mm_set1_pd(kBands[1].g))
                              : _mm_setzero_pd();
  const FourLanes odd = pipe.odd, even = pipe.even;
  const __m256d y = StepMid(pipe, x);
  const int held = lowActive ? 0xC : 0x3;
  if (!lowActive || !highActive) KeepLanes(pipe.odd, odd, held), KeepLanes(pipe.even, even, held);
  if (highActive) StoreStereoFrame(out + (i - kMidSkew) * 2, _mm256_extractf128_pd(y, 1));
}

__attribute__((target("avx"))) void RunMidBandAvx(Crossover* state, const float* input, float* out,
                                                  int frames) {
  if (frames <= 0) return;
  MidPipe pipe{LoadLanes(1, 0, 1, 2, state), LoadLanes(1, 1, 1, 3, state), {}};
  const int steps = frames + kMidSkew;
  const int mainEnd = frames;  // steps kMidSkew .. frames - 1 have both halves
  int i = 0;
  for (; i < kMidSkew && i < steps; ++i) StepMidEdge(pipe, i, frames, input, out);
  const __m128d g = _mm_set1_pd(kBands[1].g);
  for (; i < mainEnd; ++i) {
    const __m256d y = StepMid(pipe, _mm_mul_pd(LoadStereoFrame(input + i * 2), g));
    StoreStereoFrame(out + (i - kMidSkew) * 2, _mm256_extractf128_pd(y, 1));
  }
  for (; i < steps; ++i) StepMidEdge(pipe, i, frames, input, out);
  StoreLanes(pipe.odd, 1, 0, 1, 2, state);
  StoreLanes(pipe.even, 1, 1, 1, 3, state);
}
#endif

}  // namespace

void CEffectEqualizerIIR::RunCrossovers(const float* input, int frames) {
  float* out[kBandCount];
  for (int b = 0; b < kBandCount; ++b)
    out[b] = bandBuffer_.get() + static_cast<std::size_t>(b) * kMaxFrames * 2;
  const ProcessorFeatures& cpu = TheProcessorFeatures();
#if defined(VANTARO_EQUALIZER_AVX)
  if (cpu.avx) {
    RunOuterBandsAvx(crossover_.get(), input, out[0], out[2], frames);
    RunMidBandAvx(crossover_.get(), input, out[1], frames);
    return;
  }
#endif
  for (int b = 0; b < kBandCount; ++b) {
    const BandDesign& design = kBands[b];
#if defined(__SSE2__)
    if (cpu.sse2 && design.sectionCount == 2) {
      RunBandPair<2>(design, crossover_[b], input, out[b], frames);
      continue;
    }
    if (cpu.sse2 && design.sectionCount == 4) {
      RunBandPair<4>(design, crossover_[b], input, out[b], frames);
      continue;
    }
#endif
    RunBandPlain(design, crossover_[b], input, out[b], frames);
  }
}

// Audio thread: the sum of the bands, each times its gain. While a ramp
// runs, every float takes one step of it; at rest the gains are constants
// and the loop vectorises (same sum order, same result).
void CEffectEqualizerIIR::MixBands(float* block, int frames) {
  const float* bands[kBandCount];
  for (int b = 0; b < kBandCount; ++b)
    bands[b] = bandBuffer_.get() + static_cast<std::size_t>(b) * kMaxFrames * 2;
  bool ramping = false;
  for (int b = 0; b < kBandCount; ++b) ramping |= gainCurrent_[b] != gainTarget_[b];
  if (!ramping) {
    const float g0 = gainValue_[0], g1 = gainValue_[1], g2 = gainValue_[2];
    const float *low = bands[0], *mid = bands[1], *high = bands[2];
    for (int i = 0; i < frames * 2; ++i)
      block[i] = ((0.0f + low[i] * g0) + mid[i] * g1) + high[i] * g2;
    return;
  }
  for (int i = 0; i < frames * 2; ++i) {
    float out = 0.0f;
    for (int b = 0; b < kBandCount; ++b) {
      if (gainCurrent_[b] != gainTarget_[b]) {
        const double next = gainCurrent_[b] * gainFactor_[b];
        const bool rising = gainFactor_[b] > 1.0;
        const bool passed =
            (rising ? next > gainTarget_[b] : next < gainTarget_[b]) || next == gainCurrent_[b];
        gainCurrent_[b] = passed ? gainTarget_[b] : next;
        gainValue_[b] = static_cast<float>(gainCurrent_[b] - 1.0);
      }
      out += bands[b][i] * gainValue_[b];
    }
    block[i] = out;
  }
}

void CEffectEqualizerIIR::Process(float* buffer, int frames, float /*bpm*/) {
  if (!active_) return;
  ApplyPendingBands();
  // Longer blocks do not reach the equaliser; if one did, it is taken in
  // pieces rather than cut.
  for (int done = 0; done < frames;) {
    const int n = frames - done < kMaxFrames ? frames - done : kMaxFrames;
    float* block = buffer + static_cast<std::size_t>(done) * 2;
    RunCrossovers(block, n);
    MixBands(block, n);
    done += n;
  }
}

}  // namespace vantaro
