// Crafted PDFs that reach the hazards the library keeps on hostile input.
// Each one is otherwise a well-formed invoice, so that a run that survives the
// hazard would go on to an ordinary verdict.
#ifndef INVOICE_EXTRACT_HAZARD_PDFS_H
#define INVOICE_EXTRACT_HAZARD_PDFS_H

#include <cstdint>
#include <string>

// The newest cross-reference section's trailer names itself as Prev: opening
// the file walks the chain for ever.
std::string Hazard_Prev_Cycle_Pdf();
// The catalog holds `depth` unclosed nested arrays: the parser recurses once a
// level and exhausts the stack when the root is checked at open.
std::string Hazard_Deep_Nesting_Pdf(uint32_t depth = 1000000);
// The EmbeddedFiles name tree has a node whose Kids names itself: the search
// for the invoice recurses until the stack is exhausted.
std::string Hazard_Kids_Cycle_Pdf();
// An otherwise valid invoice whose pdfaid:conformance is empty: the level
// query throws std::out_of_range through the C entry points.
std::string Hazard_Empty_Conformance_Pdf();
// An invoice whose embedded file is Flate data that decodes to
// `decoded_bytes` zero bytes: checking decodes nothing, extracting decodes up
// to the ceiling on a stream's decoded size.
std::string Hazard_Flate_Bomb_Pdf(uint64_t decoded_bytes);
// A zlib stream of `decoded_bytes` zero bytes, about a thousandth of that
// long (1 GiB in about 1 MB), made at once from one compressed block repeated.
std::string Hazard_Flate_Zeros(uint64_t decoded_bytes);

#endif
