// The catalog: the door to the document's metadata stream and to the name
// tree of embedded files.
#ifndef INVOICE_EXTRACT_PDF_CATALOG_H
#define INVOICE_EXTRACT_PDF_CATALOG_H

#include "runtime/pdf_result.h"

struct PDF_Dictionary;
struct PDF_File;
struct PDF_Object;

// The catalog's dictionary; null unless the object was classified as a catalog.
PDF_Dictionary* PDF_Catalog_Get_Dictionary(PDF_Object* catalog);
// The dictionary under Names, followed through a reference.
PDF_Dictionary* PDF_Catalog_Get_Names(PDF_Object* catalog);
// The object under Metadata, which must be a reference; null once a tolerant
// metadata read has failed on this file.
PDF_Object* PDF_Catalog_Get_Metadata(PDF_Object* catalog, PDF_File* file);
// The catalog of the file, through the trailer's Root; null if none.
PDF_Object* PDF_File_Get_Catalog(PDF_File* file);

// Searches the EmbeddedFiles tree of a Names dictionary for a filespec
// dictionary whose F entry equals the name.
PDF_Object* PDF_Names_Find_Embedded_File(PDF_Dictionary* names, const char* name);
// Compares the F entries of the file specifications under a node, in array
// order; the tree's own keys and Limits are not consulted.
PDF_Object* PDF_Name_Tree_Find(PDF_Dictionary* node, const char* name);

#endif
