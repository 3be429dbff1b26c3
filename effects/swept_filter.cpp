#include "effects/swept_filter.h"

#include <cmath>
#include <cstring>

#include "effects/effect.h"
#include "effects/glide.h"

namespace vantaro {
namespace {

constexpr int kGlidePieces =
    (kGlideFrames + SweptFilter::kPieceFrames - 1) / SweptFilter::kPieceFrames;

}  // namespace

void SweptFilter::Design(Bank& bank, const Settings& s) {
  if (bank.type == 0) return;
  TBiquad& first = bank.f[0][0];
  DesignBiquad(first, s.hz, s.gainDb, s.q, bank.type);
  for (auto& side : bank.f)
    for (TBiquad& f : side) {
      f.type = first.type, f.frequency = first.frequency, f.gainDb = first.gainDb, f.q = first.q;
      f.a0 = first.a0, f.a1 = first.a1, f.a2 = first.a2;
      f.b0 = first.b0, f.b1 = first.b1, f.b2 = first.b2;
    }
}

void SweptFilter::Run(Bank& bank, float* piece, int frames) {
  if (bank.type == 0) return;
  RunBiquadPair(bank.f[0], bank.f[1], bank.sections, piece, frames);
}

void SweptFilter::Set(int type, int sections, float hz, float q, float gainDb) {
  sections = sections == 2 ? 2 : 1;
  const Settings wanted{hz, q, gainDb};
  if (type != now_.type || sections != now_.sections) {
    old_ = now_;
    now_ = Bank{};
    now_.type = type;
    now_.sections = sections;
    current_ = target_ = wanted;
    glidePieces_ = 0;
    Design(now_, current_);
    fadeLeft_ = old_.type == 0 && type == 0 ? 0 : kFadeFrames;
    return;
  }
  if (wanted.hz == target_.hz && wanted.q == target_.q && wanted.gainDb == target_.gainDb) return;
  target_ = wanted;
  glidePieces_ = kGlidePieces;
  hzRatio_ = std::pow(target_.hz / current_.hz, 1.0f / kGlidePieces);
  qRatio_ = std::pow(target_.q / current_.q, 1.0f / kGlidePieces);
  gainStep_ = (target_.gainDb - current_.gainDb) / kGlidePieces;
}

void SweptFilter::Settle() {
  current_ = target_;
  glidePieces_ = 0;
  fadeLeft_ = 0;
  old_ = Bank{};
  const Bank fresh{now_.type, now_.sections, {}};
  now_ = fresh;
  Design(now_, current_);
}

void SweptFilter::StepGlide() {
  if (--glidePieces_ == 0) {
    current_ = target_;
  } else {
    current_.hz *= hzRatio_;
    current_.q *= qRatio_;
    current_.gainDb += gainStep_;
  }
  Design(now_, current_);
}

void SweptFilter::ProcessPiece(float* piece, int frames) {
  if (glidePieces_ > 0) StepGlide();
  if (fadeLeft_ == 0) {
    Run(now_, piece, frames);
    return;
  }
  float before[kPieceFrames * 2];
  std::memcpy(before, piece, sizeof(float) * 2 * frames);
  Run(old_, before, frames);
  Run(now_, piece, frames);
  for (int i = 0; i < frames; ++i) {
    const float share = fadeLeft_ > 0 ? 1.0f - static_cast<float>(--fadeLeft_) / kFadeFrames : 1.0f;
    piece[i * 2] = before[i * 2] + (piece[i * 2] - before[i * 2]) * share;
    piece[i * 2 + 1] = before[i * 2 + 1] + (piece[i * 2 + 1] - before[i * 2 + 1]) * share;
  }
}

void SweptFilter::Process(float* buffer, int frames) {
  if (IsOff()) return;
  if (glidePieces_ == 0 && fadeLeft_ == 0) {
    // Settings at rest: the whole block in one pass.
    Run(now_, buffer, frames);
  } else {
    for (int done = 0; done < frames; done += kPieceFrames) {
      const int n = frames - done < kPieceFrames ? frames - done : kPieceFrames;
      ProcessPiece(buffer + done * 2, n);
    }
  }
  if (!BlockIsFinite(buffer, frames)) Settle();
}

}  // namespace vantaro
