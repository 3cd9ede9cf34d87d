// Reading classic cross-reference tables: the newest table, whose subsections
// are all kept, and older tables, merged entry by entry under the rule that
// the newest definition of a number wins.
#ifndef INVOICE_EXTRACT_PDF_XREF_SECTION_H
#define INVOICE_EXTRACT_PDF_XREF_SECTION_H

#include <cstdint>

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Object;
struct PDF_Read_Data;
struct PDF_Xref_Entry;
struct PDF_Xref_Section;
struct PDF_Xref_Table;

// Bytes of the "xref" keyword at position, 0 if it is not there.
uint64_t PDF_Xref_Table_Match_Keyword(PDF_Xref_Table* table, PDF_Read_Data* reader, uint64_t position);
// Every subsection of the newest table; bytes used, 0 when no subsection reads.
uint64_t PDF_Xref_Table_Read_Newest(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
// Every subsection of an older table, merged; bytes used.
uint64_t PDF_Xref_Table_Read_Older(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
// One subsection of the newest table into a new section; bytes used, 0 at the
// end of the table or on a failure that the tolerance level doesn't forgive.
uint64_t PDF_Xref_Section_Read(PDF_Xref_Section** out_section, PDF_File* file, PDF_Read_Data* reader,
                               uint64_t position);
uint64_t PDF_Xref_Section_Merge(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
// One 20-byte line; an in-use entry gets its object from the "n g obj" header.
uint64_t PDF_Xref_Entry_Read(PDF_Xref_Entry** out_entry, PDF_File* file, PDF_Read_Data* reader, uint64_t position);
uint64_t PDF_Xref_Entry_Merge(PDF_Xref_Table* table, PDF_File* file, PDF_Read_Data* reader, uint64_t position,
                              uint32_t number);

// Walks every entry in section order, loading each object, and returns the
// first whose dictionary has the direct name Type (and Subtype, if given).
// With a null type only the subtype counts. Compressed entries have no body
// yet and are not found.
PDF_Object* PDF_Xref_Table_Find_By_Type(PDF_Xref_Table* table, const char* type, const char* subtype);
#endif
