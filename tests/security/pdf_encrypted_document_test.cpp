// An encrypted document whose strings and streams are enciphered for their
// objects: refused in the no-key state, read in full once a key is installed
// by hand, with the Encrypt dictionary and the trailer left as written.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "document/pdf_embedded_file.h"
#include "document/pdf_metadata.h"
#include "objects/pdf_array.h"
#include "objects/pdf_dictionary.h"
#include "objects/pdf_object.h"
#include "reader/pdf_trailer.h"
#include "support/invoice_builder.h"
#include "support/opened_document.h"
#include "support/pdf_builder.h"
#include "support/test_cipher.h"
#include "support/test_show.h"

namespace {

const char kKey[] = "\x5a\x11\xc3\x07\x99\x42\x00\x10";
const char kName[] = "ZUGFeRD-invoice.xml";

std::string Literal(uint32_t number, const std::string& plain) {
  return "(" + Test_Octal_Literal(Test_Encipher(kKey, number, 0, plain)) + ")";
}

std::string Encrypted_Pdf() {
  Pdf_Builder builder;
  Pdf_Builder_Header(&builder);
  Pdf_Builder_Object(&builder, 1, "<< /Type /Catalog /Pages 2 0 R /Names 6 0 R /Metadata 8 0 R >>");
  Pdf_Builder_Object(&builder, 2, "<< /Type /Pages /Kids [] /Count 0 >>");
  Pdf_Builder_Object(&builder, 3, "<< /Filter /Standard /V 1 /R 2 /P -4 /O (owner\\051) /U <75 73> >>");
  Pdf_Builder_Object(&builder, 4, "<< /Type /Filespec /F " + Literal(4, kName) + " /EF << /F 5 0 R >> >>");
  Pdf_Builder_Stream(&builder, 5, "/Type /EmbeddedFile", Test_Encipher(kKey, 5, 0, Invoice_Sample_Xml()));
  Pdf_Builder_Object(&builder, 6, "<< /EmbeddedFiles << /Names [" + Literal(6, kName) + " 4 0 R] >> >>");
  Pdf_Builder_Stream(&builder, 8, "/Type /Metadata /Subtype /XML",
                     Test_Encipher(kKey, 8, 0, Invoice_Xmp_Packet(Invoice_Options())));
  Pdf_Builder_Finish(&builder, "/Root 1 0 R /Encrypt 3 0 R /ID [<0102> <0304>]");
  return builder.bytes;
}

TEST(EncryptedDocument, ReadsWithAKeyInstalledByHand) {
  Opened_Document opened(Encrypted_Pdf(), 3);
  ASSERT_EQ(opened.result, 0);
  ASSERT_EQ(opened.file()->encrypted, 1);
  EXPECT_EQ(opened.file()->encryption_mode, 1u);
  EXPECT_EQ(opened.file()->key, nullptr) << "open works out no key";

  // No key: the content operations refuse first; an object loaded anyway
  // fails, and stays pending.
  PDF_Embedded_File_Info info = {};
  EXPECT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), opened.id_of(4), &info), PDF_RESULT_NO_KEY);
  EXPECT_EQ(PDF_Object_Load(opened.object(4)), PDF_RESULT_INVALID_ARGUMENT);

  Test_Install_Key(opened.file(), kKey);
  uint32_t part = 0;
  char conformance = 0;
  ASSERT_EQ(PDF_File_Get_Pdfa_Level(opened.file(), &part, &conformance, nullptr), 0);
  EXPECT_EQ(part, 3u);
  EXPECT_EQ(conformance, 'B');
  EXPECT_EQ(opened.file()->metadata_is_plain, 0) << "the enciphered packet was found so in the trial";

  uint32_t id = 0;
  ASSERT_EQ(PDF_File_Find_Embedded_File(opened.file(), kName, strlen(kName), PDF_NAME_BYTES, &id), 0);
  EXPECT_EQ(id, opened.id_of(4));
  ASSERT_EQ(PDF_File_Decode_Embedded_File(opened.file(), id), 0);
  ASSERT_EQ(PDF_File_Get_Embedded_File_Info(opened.file(), id, &info), 0);
  ASSERT_EQ(info.length, Invoice_Sample_Xml().size());
  std::string xml(info.length, '\0');
  ASSERT_EQ(PDF_File_Read_Embedded_File(opened.file(), id, &xml[0]), 0);
  EXPECT_EQ(xml, Invoice_Sample_Xml());
  EXPECT_EQ(Show(PDF_Dictionary_Find_Value(static_cast<PDF_Dictionary*>(opened.value(6)->value), "EmbeddedFiles")),
            "<</Names [(ZUGFeRD-invoice.xml) R@4]>>");

  // The Encrypt dictionary was loaded at open and stays as written, and so
  // does the trailer's ID.
  PDF_Dictionary* encrypt = static_cast<PDF_Dictionary*>(opened.value(3)->value);
  EXPECT_EQ(PDF_Object_Get_Type(opened.object(3)), PDF_Object_Type_Encrypt);
  EXPECT_EQ(Show(PDF_Dictionary_Find_Value(encrypt, "O")), "(owner\\051)");
  EXPECT_EQ(Show(PDF_Dictionary_Find_Value(encrypt, "U")), "<75 73>");
  PDF_Dictionary* trailer = PDF_Trailer_Get_Dictionary(opened.body()->trailer);
  EXPECT_EQ(Show(PDF_Dictionary_Find_Value(trailer, "ID")), "[<0102> <0304>]");
}

}  // namespace
