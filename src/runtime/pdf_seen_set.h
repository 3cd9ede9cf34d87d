// A set of 64-bit keys (file positions, addresses) that a walk has already
// met, so that a walk which can come back to where it was ends instead.
// All fields start at zero; the memory comes from the C runtime.
#ifndef INVOICE_EXTRACT_PDF_SEEN_SET_H
#define INVOICE_EXTRACT_PDF_SEEN_SET_H

#include <cstdint>

struct PDF_Seen_Set {
  uint64_t* slots;    // open addressing, key + 1 in each slot, 0 for a free one
  uint64_t capacity;  // a power of two, or 0
  uint64_t count;
  uint8_t has_last;  // the one key that key + 1 can't hold: UINT64_MAX
};

bool PDF_Seen_Set_Has(const PDF_Seen_Set* set, uint64_t key);
// Adds the key; false when the memory can't be had.
bool PDF_Seen_Set_Add(PDF_Seen_Set* set, uint64_t key);
// Frees the slots; the set is empty and can be used again.
void PDF_Seen_Set_Release(PDF_Seen_Set* set);

#endif
