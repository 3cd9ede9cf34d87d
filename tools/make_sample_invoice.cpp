// Writes the bundled sample invoice: a small PDF/A-3 file with ZUGFeRD
// metadata and an embedded ZUGFeRD-invoice.xml, built with the test helpers.
#include <cstdio>

#include "support/invoice_builder.h"
#include "support/pdf_builder.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s OUTPUT.pdf\n", argv[0]);
    return 2;
  }
  Invoice_Options options;
  if (!Test_Write_File(argv[1], Invoice_Build_Pdf(options))) {
    fprintf(stderr, "cannot write %s\n", argv[1]);
    return 1;
  }
  return 0;
}
