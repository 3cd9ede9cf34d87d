// Builds ZUGFeRD-style invoice PDFs with classic cross-reference tables, with
// switches for the variations the tests need.
#ifndef INVOICE_EXTRACT_INVOICE_BUILDER_H
#define INVOICE_EXTRACT_INVOICE_BUILDER_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

struct Invoice_Options {
  std::string part = "3";
  std::string conformance = "B";
  std::string name_space = "urn:ferd:pdfa:CrossIndustryDocument:invoice:1p0#";
  std::string document_type = "INVOICE";
  std::string document_file_name = "ZUGFeRD-invoice.xml";
  bool attribute_form = false;                          // properties as attributes of rdf:Description
  std::string attachment_name = "ZUGFeRD-invoice.xml";  // the F entry, as written between parentheses
  std::string xml;                                      // the embedded bytes; empty: a small sample invoice
  std::string embedded_entries;                         // extra entries of the embedded stream's dictionary
  std::string embedded_data;                            // stored bytes when not empty (e.g. compressed xml)
  bool with_metadata = true;
  std::string extra_rdf;       // more rdf:Description elements of the packet
  std::string trailer_extra;   // more trailer entries
  std::string embedded_files;  // the EmbeddedFiles value; empty: one leaf naming object 5
  std::vector<std::pair<uint32_t, std::string>> extra_objects;                   // numbers from 7 on
  std::string page = "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] >>";  // the body of object 6
};

std::string Invoice_Sample_Xml();
std::string Invoice_Xmp_Packet(const Invoice_Options& options);
std::string Invoice_Build_Pdf(const Invoice_Options& options);

#endif
