#include "engine/bags/PropertiesJson.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/base/CountedObject.h"
#include "kiv/platform/KivCommon.h"
#include "kiv/values/CKivValue.h"

namespace {

using kiv::SettingsFromText;
using kiv::SettingsToText;

std::string Document(const std::string& clip) {
  return R"({"format":"kivclip-settings","version":1,"clip":)" + clip + "}";
}

class Settings : public testing::Test {
 protected:
  bool Read(const std::string& text) { return SettingsFromText(text, bag_.Get(), &error_); }
  std::string Written() { return SettingsToText(bag_.Get()); }
  bool Writes(const std::string& part) { return Written().find(part) != std::string::npos; }
  int32_t Count() const { return bag_.Reference().As<IKivPropertyList>()->GetCount(); }

  KivPropDecorator bag_ = KivCommon::CreateProperties();
  std::string error_;
};

class Plain final : public kiv::CountedObject<IUnknown> {};

TEST_F(Settings, ABagIsWrittenAsEntriesWithoutInterfaces) {
  const auto object = KivComPtr<IUnknown>::Adopt(new Plain);
  CKivValue value;
  value.SetValue(CKivPtr<IUnknown>(object.Get()));
  bag_->SetObject(L"object", object.Get());
  bag_->SetValue(L"value", &value);
  value.SetValue(value);
  bag_->SetValue(L"nested", &value);
  const KivRational speed{1, 2};
  const KivPropDecorator inner = KivCommon::CreateProperties();
  inner->SetRational(L"Speed", &speed);
  bag_->SetString(L"Proxy", L"/\x00e4.mp4");
  bag_->SetObject(L"Data", inner.Get());
  std::string text = Written();
  std::erase_if(text, [](char c) { return c == ' ' || c == '\n'; });
  EXPECT_EQ(R"({"clip":{"Data":{"Speed":{"type":"KivRational","value":"[1,2]:0.5000000"}},)"
            "\"Proxy\":{\"type\":\"std::wstring\",\"value\":\"/\xc3\xa4.mp4\"}},"
            R"("format":"kivclip-settings","version":1})",
            text);
}

TEST_F(Settings, WhatWasWrittenReadsBack) {
  const KivPropDecorator inner = KivCommon::CreateProperties();
  CKivValue value;
  value.SetValue<unsigned char>(200);
  bag_->SetValue(L"byte", &value);
  value.SetValue(value);
  bag_->SetValue(L"nested", &value);
  bag_->SetInt(L"", -1);
  inner->SetInt(L"type", 5);  // reads as a bag, not as an entry
  bag_->SetObject(L"inner", inner.Get());
  const std::string text = Written();

  bag_ = KivCommon::CreateProperties();
  ASSERT_TRUE(Read(text)) << error_;
  EXPECT_EQ(text, Written());
  bag_.Reference().As<IKivPropertyList>()->GetValue(L"byte", &value);
  EXPECT_EQ(L"\x00c8", value.GetValueText());
  KivComPtr<IUnknown> object;
  ASSERT_EQ(S_OK, bag_->GetObject(L"inner", object.Put()));
  int32_t type = 0;
  EXPECT_EQ(S_OK, object.As<IKivProperties>()->GetInt(L"type", &type));
  EXPECT_EQ(5, type);
}

TEST_F(Settings, UnknownKeysAndMembersArePreserved) {
  ASSERT_TRUE(
      Read(R"({"clip":{"Future.Key":{"type":"int","value":"7"}},"format":"kivclip-settings",)"
           R"("notes":{"by":["a",1.5,null]},"version":1,"zoom":2})"));
  for (const char* part : {"\"Future.Key\"", "\"by\"", "\"zoom\" : 2"}) EXPECT_TRUE(Writes(part));
  EXPECT_FALSE(Writes("UnknownMembers"));
  const std::string once = Written();
  ASSERT_TRUE(Read(once));
  EXPECT_EQ(once, Written());
}

TEST_F(Settings, StoredMembersCannotReplaceTheDocuments) {
  bag_->SetString(kiv::kUnknownMembersKey, LR"({"version":99,"clip":7,"kept":1})");
  EXPECT_TRUE(Writes("\"version\" : 1"));
  EXPECT_TRUE(Writes("\"kept\" : 1"));
  bag_->SetInt(L"old", 1);
  EXPECT_TRUE(Read(Written())) << error_;
  EXPECT_EQ(2, Count()) << "reading adds to the bag";
  bag_->SetString(kiv::kUnknownMembersKey, L"[[[[ no document");
  EXPECT_TRUE(Read(Written())) << error_;
}

std::string Repeat(const std::string& part, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += part;
  return text;
}

std::string NestedBags(int bags) {
  return Document(Repeat(R"({"b":)", bags - 1) + "{}" + Repeat("}", bags - 1));
}

// A bag with one good entry before the given one.
std::string Entry(const std::string& entry) {
  return Document(R"({"good":{"type":"int","value":"1"},"z":)" + entry + "}");
}

TEST_F(Settings, RefusedDocumentsLeaveTheBagAlone) {
  const std::pair<std::string, std::string> kCases[] = {
      {"", "not JSON"},
      {"[]", "not a kivclip"},
      {Document("{}") + "x", "not JSON"},
      {"// a\n" + Document("{}"), "not JSON"},
      {R"({"format":"x","version":1,"clip":{}})", "not a kivclip"},
      {R"({"format":"kivclip-settings","clip":{}})", "the settings document has no version"},
      {R"({"format":"kivclip-settings","version":2,"clip":{}})",
       "settings version 2 is newer than this program's 1"},
      {R"({"format":"kivclip-settings","version":1e300,"clip":{}})",
       "the settings document has no version"},
      {R"({"format":"kivclip-settings","version":1})", "\"clip\" is not"},
      {Document("[]"), "\"clip\" is not"},
      {Entry("5"), "\"z\": neither an entry nor a bag"},
      {Entry(R"({"type":"int"})"), "\"z\": the value is not a text"},
      {Entry(R"({"type":"int","value":5})"), "\"z\": the value is not a text"},
      {Entry(R"({"type":5,"value":"5"})"), "\"type\": neither"},
      {Entry(R"({"type":"bool","value":"1"})"), "\"z\": unknown type \"bool\""},
      {Entry(R"({"y":{"x":5}})"), "\"x\": neither"},
      {Entry(R"({"type":"CKivPtr<IUnknown>","value":"Interface:0x10"})"),
       "\"z\": an interface cannot be stored"},
      {Entry(R"({"type":"CKivValue","value":"t:CKivPtr<IUnknown>, v:I"})"),
       "\"z\": an interface cannot be stored"},
      {Document(R"({"a":{},"a":{}})"), "not JSON"},
      {Document("{\"" + std::string(5000, 'k') + "\":{}}"), "\"kkkk"},
      {NestedBags(33), "\"b\": bags are nested"},
      {NestedBags(100000), "the document is nested"},
      {Document("{},\"m\":" + Repeat("[", 100000) + Repeat("]", 100000)), "the document is nested"},
      {Document("[" + Repeat("0,", 3000001) + "0]"), "the document has too many entries"},
      {Document("{}") + std::string(65u << 20, ' '), "the document is too large"}};
  for (const auto& [text, complaint] : kCases) {
    EXPECT_FALSE(Read(text)) << text.substr(0, 100);
    EXPECT_EQ(complaint, error_.substr(0, complaint.size()));
    EXPECT_EQ(std::string::npos, error_.find('\n'));
    EXPECT_EQ(0, Count());
  }
}

TEST_F(Settings, BagsNestUpToTheLimit) {
  EXPECT_TRUE(Read(Entry(R"({"type":"std::wstring","value":")" + Repeat("[{\\\"", 1000) + "\"}")))
      << "braces inside texts are no nesting";
  EXPECT_TRUE(Read(NestedBags(32))) << error_;
  EXPECT_FALSE(Written().empty());
  const KivPropDecorator outer = KivCommon::CreateProperties();
  outer->SetObject(L"b", bag_.Get());
  EXPECT_TRUE(SettingsToText(outer.Get()).empty());
}

TEST_F(Settings, ABagThatContainsItselfIsNotWritten) {
  const KivPropDecorator inner = KivCommon::CreateProperties();
  bag_->SetObject(L"inner", inner.Get());
  bag_->SetObject(L"again", inner.Get());
  EXPECT_FALSE(Written().empty()) << "twice side by side is no circle";
  inner->SetObject(L"outer", bag_.Get());
  EXPECT_TRUE(Written().empty());
  inner->SetObject(L"outer", nullptr);
  EXPECT_TRUE(SettingsToText(nullptr).empty());
}

}  // namespace
