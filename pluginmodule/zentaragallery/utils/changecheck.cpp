#include "utils/changecheck.h"

#include <xxhash.h>

#include <new>

ChangeCheck::ChangeCheck() : state(XXH3_createState()) {
  if (!state) throw std::bad_alloc();
  (void)XXH3_128bits_reset(state.get());  // These fail for null states only.
}

void ChangeCheck::Update(std::string_view bytes) {
  (void)XXH3_128bits_update(state.get(), bytes.data(), bytes.size());
}

bool ChangeCheck::SawTheSameAs(const ChangeCheck& other) const {
  return XXH128_isEqual(XXH3_128bits_digest(state.get()), XXH3_128bits_digest(other.state.get())) != 0;
}

void ChangeCheck::Free::operator()(XXH3_state_s* made) const { XXH3_freeState(made); }
