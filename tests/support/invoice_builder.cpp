#include "support/invoice_builder.h"

#include "support/pdf_builder.h"

std::string Invoice_Sample_Xml() {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<rsm:CrossIndustryDocument xmlns:rsm=\"urn:ferd:CrossIndustryDocument:invoice:1p0\"\n"
         "    xmlns:ram=\"urn:un:unece:uncefact:data:standard:ReusableAggregateBusinessInformationEntity:12\"\n"
         "    xmlns:udt=\"urn:un:unece:uncefact:data:standard:UnqualifiedDataType:15\">\n"
         "  <rsm:SpecifiedExchangedDocumentContext>\n"
         "    <ram:GuidelineSpecifiedDocumentContextParameter>\n"
         "      <ram:ID>urn:ferd:CrossIndustryDocument:invoice:1p0:basic</ram:ID>\n"
         "    </ram:GuidelineSpecifiedDocumentContextParameter>\n"
         "  </rsm:SpecifiedExchangedDocumentContext>\n"
         "  <rsm:HeaderExchangedDocument>\n"
         "    <ram:ID>RE-2026-0042</ram:ID>\n"
         "    <ram:Name>RECHNUNG</ram:Name>\n"
         "    <ram:TypeCode>380</ram:TypeCode>\n"
         "    <ram:IssueDateTime><udt:DateTimeString format=\"102\">20261121</udt:DateTimeString></ram:IssueDateTime>\n"
         "  </rsm:HeaderExchangedDocument>\n"
         "</rsm:CrossIndustryDocument>\n";
}

std::string Invoice_Xmp_Packet(const Invoice_Options& o) {
  std::string packet =
      "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
      "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n";
  if (o.attribute_form) {
    packet += "<rdf:Description rdf:about=\"\" xmlns:pdfaid=\"http://www.aiim.org/pdfa/ns/id/\" pdfaid:part=\"" +
              o.part + "\" pdfaid:conformance=\"" + o.conformance + "\"/>\n";
    packet += "<rdf:Description rdf:about=\"\" xmlns:zf=\"" + o.name_space + "\" zf:DocumentType=\"" + o.document_type +
              "\" zf:DocumentFileName=\"" + o.document_file_name +
              "\" zf:Version=\"1.0\" zf:ConformanceLevel=\"BASIC\"/>\n";
  } else {
    packet +=
        "<rdf:Description rdf:about=\"\" xmlns:pdfaid=\"http://www.aiim.org/pdfa/ns/id/\">\n"
        "<pdfaid:part>" +
        o.part + "</pdfaid:part>\n<pdfaid:conformance>" + o.conformance + "</pdfaid:conformance>\n</rdf:Description>\n";
    packet += "<rdf:Description rdf:about=\"\" xmlns:zf=\"" + o.name_space +
              "\">\n"
              "<zf:DocumentType>" +
              o.document_type +
              "</zf:DocumentType>\n"
              "<zf:DocumentFileName>" +
              o.document_file_name +
              "</zf:DocumentFileName>\n"
              "<zf:Version>1.0</zf:Version>\n<zf:ConformanceLevel>BASIC</zf:ConformanceLevel>\n"
              "</rdf:Description>\n";
  }
  packet += o.extra_rdf;
  packet += "</rdf:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>";
  return packet;
}

std::string Invoice_Build_Pdf(const Invoice_Options& o) {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder, "1.7");
  std::string catalog = "<< /Type /Catalog /Pages 2 0 R";
  if (o.with_metadata) catalog += " /Metadata 3 0 R";
  std::string tree = o.embedded_files.empty() ? "<< /Names [(" + o.attachment_name + ") 5 0 R] >>" : o.embedded_files;
  catalog += " /Names << /EmbeddedFiles " + tree + " >> /AF [5 0 R] >>";
  Pdf_Builder_Object(&builder, 1, catalog);
  Pdf_Builder_Object(&builder, 2, "<< /Type /Pages /Kids [6 0 R] /Count 1 >>");
  Pdf_Builder_Stream(&builder, 3, "/Type /Metadata /Subtype /XML", Invoice_Xmp_Packet(o));
  std::string xml = o.xml.empty() ? Invoice_Sample_Xml() : o.xml;
  std::string stored = o.embedded_data.empty() ? xml : o.embedded_data;
  Pdf_Builder_Stream(&builder, 4,
                     "/Type /EmbeddedFile /Subtype /text#2Fxml /Params << /Size " + std::to_string(xml.size()) + " >>" +
                         o.embedded_entries,
                     stored);
  Pdf_Builder_Object(&builder, 5,
                     "<< /Type /Filespec /F (" + o.attachment_name + ") /UF (" + o.attachment_name +
                         ") /EF << /F 4 0 R >> /AFRelationship /Alternative /Desc (Invoice) >>");
  Pdf_Builder_Object(&builder, 6, o.page);
  for (const auto& extra : o.extra_objects) Pdf_Builder_Object(&builder, extra.first, extra.second);
  Pdf_Builder_Finish(
      &builder,
      o.trailer_extra + " /Root 1 0 R /ID [<0123456789ABCDEF0123456789ABCDEF> <0123456789ABCDEF0123456789ABCDEF>]");
  return builder.bytes;
}
