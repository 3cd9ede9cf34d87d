// A value written back in a compact form for object-model tests.
#ifndef INVOICE_EXTRACT_TEST_SHOW_H
#define INVOICE_EXTRACT_TEST_SHOW_H

#include <string>

#include "objects/pdf_data_object.h"

// "-" for no value, "R5.0" for an unbound reference and "R@5" for one bound to
// object 5 (marked "!numbers" unless its numbers were cleared), "0.5d2" for a
// number with its decimals, strings and names with their raw bytes. A value
// that doesn't name its variant as owner is marked "!owner", a string without
// its terminating NUL "!nul".
std::string Show(const PDF_Data_Object* object);

#endif
