// Crafted PDFs that stand for hostile input: loops of every kind the reader
// could follow, nesting far past the limit, a broken pdfaid conformance, a
// Length far past the end of the file, a compression bomb, an invoice placed
// beyond 4 GiB. Each one is otherwise a well-formed invoice, so that a call
// that copes with its hazard goes on to an ordinary verdict.
#ifndef INVOICE_EXTRACT_HAZARD_PDFS_H
#define INVOICE_EXTRACT_HAZARD_PDFS_H

#include <cstdint>
#include <string>

// An update whose trailer names its own section as Prev: the chain ends there,
// before the invoice's own table, so the file has no objects.
std::string Hazard_Prev_Cycle_Pdf();
// An update whose Prev leads to the invoice's table, whose own Prev leads back
// to the update: every section is read once, and the invoice is whole.
std::string Hazard_Prev_Loop_Through_Invoice_Pdf();
// The same loop with the update held in a cross-reference stream, which also
// names two objects that are compressed in each other's object stream, and
// two object streams that extend each other (reached through Info).
std::string Hazard_Xref_Stream_Loop_Pdf();
// An invoice whose one table announces `count` entries where it has 8 lines.
std::string Hazard_Xref_Count_Past_End_Pdf(uint64_t count);
// The catalog holds `depth` unclosed nested arrays.
std::string Hazard_Deep_Nesting_Pdf(uint32_t depth = 1000000);
// An invoice whose trailer names object 7 (Deep), holding `depth` nested
// arrays or dictionaries, closed.
std::string Hazard_Deep_Value_Invoice_Pdf(uint32_t depth, bool dictionaries);
// An invoice whose embedded stream's dictionary holds `depth` levels of
// "<< /K [ ... ) >>": each array fails at its ")" and its dictionary reads on
// inside the dictionary below, so a reader that reads again what it read
// before does twice the work per level.
std::string Hazard_Reread_Nesting_Pdf(uint32_t depth);
// An invoice whose EmbeddedFiles tree is a chain of `depth` Kids nodes, one
// object each, with the invoice's leaf at the bottom.
std::string Hazard_Deep_Name_Tree_Pdf(uint32_t depth);
// The EmbeddedFiles name tree has a node whose Kids names itself.
std::string Hazard_Kids_Cycle_Pdf();
// A Kids node that leads back to the root, beside the invoice's leaf.
std::string Hazard_Kids_Cycle_Beside_Leaf_Pdf();
// An invoice whose trailer names object 7 (Loop), a stream whose Length is a
// reference to itself.
std::string Hazard_Self_Length_Pdf();
// An invoice whose EmbeddedFiles tree is reached through a chain of `count`
// objects each holding only a reference to the next, and whose trailer names
// a chain of `count` objects each an array naming the next.
std::string Hazard_Long_Chains_Pdf(uint32_t count);
// An otherwise valid invoice with the given pdfaid:conformance ("" for an
// empty one).
std::string Hazard_Empty_Conformance_Pdf(const std::string& conformance = "");
// An invoice whose embedded file states a Length far past the end of the file.
std::string Hazard_Long_Length_Pdf(uint64_t length);
// An invoice whose embedded file is Flate data that decodes to
// `decoded_bytes` zero bytes: checking decodes nothing, extracting decodes up
// to the ceiling on a stream's decoded size.
std::string Hazard_Flate_Bomb_Pdf(uint64_t decoded_bytes);
// A zlib stream of `decoded_bytes` zero bytes, about a thousandth of that
// long (1 GiB in about 1 MB), made at once from one compressed block repeated.
std::string Hazard_Flate_Zeros(uint64_t decoded_bytes);
// The invoice's bytes with every offset moved `shift` bytes on, to be written
// at that offset behind the head below; the head is what goes at offset 0.
std::string Hazard_Shifted_Invoice_Pdf(uint64_t shift);
std::string Hazard_Shifted_Invoice_Head();

#endif
