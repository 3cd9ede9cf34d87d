/* A small C program built against an installed invoice_extract, the way a
 * user's program would be: checks a PDF, extracts its invoice XML and makes
 * sure that what was written is the invoice. Exit status 0 on success. */
#include <invoice_extract.h>

#include <stdio.h>
#include <string.h>

#if INVOICE_EXTRACT_VERSION_MAJOR != 1
#error "this program is written for major version 1 of invoice_extract"
#endif

int main(int argc, char** argv) {
  if (argc != 3) {
    fprintf(stderr, "usage: %s INVOICE.pdf OUTPUT.xml\n", argv[0]);
    return 2;
  }
  const char* pdf = argv[1];
  const char* xml = argv[2];

  int32_t result = ZUGF_Check_Zugferd(pdf);
  if (result != ZUGF_RESULT_INVOICE) {
    fprintf(stderr, "%s: check gave %d (%s)\n", pdf, (int)result, ZUGF_Describe_Result(result));
    return 1;
  }
  result = ZUGF_Extract_Zugferd(pdf, xml);
  if (result != ZUGF_RESULT_INVOICE) {
    fprintf(stderr, "%s: extraction gave %d (%s)\n", pdf, (int)result, ZUGF_Describe_Result(result));
    return 1;
  }

  FILE* file = fopen(xml, "rb");
  if (file == NULL) {
    fprintf(stderr, "%s: not written\n", xml);
    return 1;
  }
  static char text[1 << 16];
  size_t length = fread(text, 1, sizeof(text) - 1, file);
  fclose(file);
  text[length] = '\0';
  if (strncmp(text, "<?xml", 5) != 0 || strstr(text, "CrossIndustryDocument") == NULL) {
    fprintf(stderr, "%s: %zu bytes, but no ZUGFeRD invoice XML\n", xml, length);
    return 1;
  }
  printf("invoice_extract %s: %s: %d (%s), %zu bytes of invoice XML in %s\n", INVOICE_EXTRACT_VERSION_STRING, pdf,
         (int)result, ZUGF_Describe_Result(result), length, xml);
  return 0;
}
