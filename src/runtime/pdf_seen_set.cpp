#include "runtime/pdf_seen_set.h"

#include <cstdlib>

static uint64_t Slot_Of(const PDF_Seen_Set* set, uint64_t key) {
  uint64_t slot = ((key * 0x9E3779B97F4A7C15ull) >> 20) & (set->capacity - 1);
  while (set->slots[slot] != 0 && set->slots[slot] != key + 1) slot = (slot + 1) & (set->capacity - 1);
  return slot;
}

bool PDF_Seen_Set_Has(const PDF_Seen_Set* set, uint64_t key) {
  if (set == nullptr) return false;
  if (key == UINT64_MAX) return set->has_last != 0;
  return set->count != 0 && set->slots[Slot_Of(set, key)] != 0;
}

bool PDF_Seen_Set_Add(PDF_Seen_Set* set, uint64_t key) {
  if (set == nullptr) return false;
  if (key == UINT64_MAX) {
    set->has_last = 1;
    return true;
  }
  if (2 * (set->count + 1) > set->capacity) {
    // Grown to keep at most half of the slots in use.
    uint64_t capacity = set->capacity == 0 ? 16 : 2 * set->capacity;
    uint64_t* slots = static_cast<uint64_t*>(calloc(capacity, sizeof(uint64_t)));
    if (slots == nullptr) return false;
    uint64_t* old_slots = set->slots;
    uint64_t old_capacity = set->capacity;
    set->slots = slots;
    set->capacity = capacity;
    for (uint64_t i = 0; i < old_capacity; ++i) {
      if (old_slots[i] != 0) slots[Slot_Of(set, old_slots[i] - 1)] = old_slots[i];
    }
    free(old_slots);
  }
  uint64_t slot = Slot_Of(set, key);
  if (set->slots[slot] == 0) {
    set->slots[slot] = key + 1;
    set->count += 1;
  }
  return true;
}

void PDF_Seen_Set_Release(PDF_Seen_Set* set) {
  if (set == nullptr) return;
  free(set->slots);
  *set = PDF_Seen_Set{nullptr, 0, 0, 0};
}
