// An LZW encoder for tests, written from the general algorithm as PDF streams
// use it: codes of 9 to 12 bits, most significant bit first, 256 clears the
// table, 257 ends the data, and the width grows either one code early
// (EarlyChange 1) or as late as possible (EarlyChange 0).
#ifndef INVOICE_EXTRACT_TEST_LZW_ENCODER_H
#define INVOICE_EXTRACT_TEST_LZW_ENCODER_H

#include <cstdint>
#include <string>
#include <vector>

// Packs a code list, starting at 9 bits, without adding anything.
std::string Test_LZW_Pack(const std::vector<int>& codes, int early_change = 1);

// Encodes data: a clear code first, a clear code whenever the table is full,
// the end code last (unless with_end_code is false).
std::string Test_LZW_Encode(const std::string& data, int early_change = 1, bool with_end_code = true);

// Codes for count zero bytes, about as dense as LZW gets: after each clear
// code a literal 0, then the codes of ever longer runs of zeros (258 is two,
// 259 three, ...) up to entry last (at most 4095), and literals for what is
// left at the end. With last 4095, 1 MB of codes decode to 1.3 GB.
std::string Test_LZW_Zeros(uint64_t count, int last);

#endif
