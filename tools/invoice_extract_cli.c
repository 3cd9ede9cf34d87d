/* Command-line front end: checks a PDF and, given a second path, extracts the
 * embedded ZUGFeRD invoice XML. Prints the result code and its meaning. */
#include <stdio.h>

#include "invoice_extract.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "usage: %s INVOICE.pdf [OUTPUT.xml]\n", argv[0]);
    return 2;
  }
  int32_t result = argc == 3 ? ZUGF_Extract_Zugferd(argv[1], argv[2]) : ZUGF_Check_Zugferd(argv[1]);
  printf("%s: %d (%s)\n", argv[1], (int)result, ZUGF_Describe_Result(result));
  if (argc == 3 && result == 0) printf("invoice XML written to %s\n", argv[2]);
  return result == 0 ? 0 : 1;
}
