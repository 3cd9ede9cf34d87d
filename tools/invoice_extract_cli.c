/* Command-line front end: checks a PDF and, given a second path, extracts the
 * embedded ZUGFeRD invoice XML. Prints the result code and its meaning. */
#include <stdio.h>

#include "invoice_extract.h"

static const char* meaning(int32_t result) {
  switch (result) {
    case 0: return "ZUGFeRD invoice";
    case -1: return "not a PDF/A-3 document";
    case -2: return "PDF/A-3, but no ZUGFeRD invoice metadata";
    case -3: return "invoice metadata, but no embedded ZUGFeRD-invoice.xml";
    case -10: return "input cannot be used";
    case -11: return "extraction failed";
    case -12: return "out of memory";
    case -20: return "embedded invoice cannot be decoded";
    default: return "unknown result";
  }
}

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "usage: %s INVOICE.pdf [OUTPUT.xml]\n", argv[0]);
    return 2;
  }
  int32_t result = argc == 3 ? ZUGF_Extract_Zugferd(argv[1], argv[2]) : ZUGF_Check_Zugferd(argv[1]);
  printf("%s: %d (%s)\n", argv[1], (int)result, meaning(result));
  if (argc == 3 && result == 0) printf("invoice XML written to %s\n", argv[2]);
  return result == 0 ? 0 : 1;
}
