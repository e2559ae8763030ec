#include "app/interruption.h"

namespace tavrine {

Interruption::Interruption(Console& console, RunningWork& work)
    : console_(console), work_(work), signals_([this](int count) { onSignal(count); }) {}

void Interruption::onSignal(int count) {
  work_.beginQuitting();
  token_->cancel();
  if (count == 1) return;
  const std::string work = work_.description();
  console_.remark(work.empty() ? "Tavrine is about to end."
                               : "Tavrine is cleaning up after " + work + ". Please wait.");
}

}  // namespace tavrine
