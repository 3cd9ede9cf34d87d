// A new, empty document: a file with a header, a catalog and an empty page
// tree, and the builders of those two objects.
#ifndef INVOICE_EXTRACT_PDF_NEW_DOCUMENT_H
#define INVOICE_EXTRACT_PDF_NEW_DOCUMENT_H

#include "runtime/pdf_result.h"

struct PDF_File;
struct PDF_Memory;
struct PDF_Message;
struct PDF_Object;

// A page tree node with Type Pages, empty Kids and Count 0, and Parent when
// a parent is given; classified as the page tree root.
PDF_Result PDF_Pages_Create(PDF_Object** out_pages, PDF_File* file, PDF_Object* parent);
// A catalog whose Pages refers to the page tree given.
PDF_Result PDF_Catalog_Create(PDF_Object** out_catalog, PDF_File* file, PDF_Object* pages);
// A file holding a new document: header, one table with the catalog and its
// page tree, and a trailer whose Root is the catalog.
PDF_Result PDF_File_Create_Empty(PDF_File** out_file, PDF_Memory* memory, PDF_Message* message);

#endif
