#include "engine/common/PropertiesJson.h"

#include <gtest/gtest.h>

#include <string>

#include "engine/common/CountedObject.h"
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
  std::string Rewritten(const std::string& text) {
    EXPECT_TRUE(Read(text)) << error_;
    return SettingsToText(bag_.Get());
  }
  int32_t Count() const { return bag_.Reference().As<IKivPropertyList>()->GetCount(); }

  KivPropDecorator bag_ = KivCommon::CreateProperties();
  std::string error_;
};

TEST_F(Settings, ABagIsWrittenAsEntries) {
  const KivRational speed{1, 2};
  const KivPropDecorator inner = KivCommon::CreateProperties();
  inner->SetString(L"Stab-Data-0", L"dx:1,2,da:3");
  bag_->SetRational(L"Speed.Scale", &speed);
  bag_->SetString(L"Proxy", L"/\x00e4.mp4");
  bag_->SetObject(L"Data", inner.Get());
  EXPECT_EQ(R"({
  "clip" : 
  {
    "Data" : 
    {
      "Stab-Data-0" : 
      {
        "type" : "std::wstring",
        "value" : "dx:1,2,da:3"
      }
    },
    "Proxy" : 
    {
      "type" : "std::wstring",
      "value" : "/)"
            "\xc3\xa4"
            R"(.mp4"
    },
    "Speed.Scale" : 
    {
      "type" : "KivRational",
      "value" : "[1, 2]: 0.5000000 "
    }
  },
  "format" : "kivclip-settings",
  "version" : 1
}
)",
            SettingsToText(bag_.Get()));
}

TEST_F(Settings, WhatWasWrittenReadsBack) {
  const KivRectF rect{0, 0.25, 0.5, 1};
  const KivPropDecorator inner = KivCommon::CreateProperties();
  CKivValue byte, nested;
  byte.SetValue<unsigned char>(200);
  nested.SetValue(byte);
  bag_->SetRect(L"Crop.Region", &rect);
  bag_->SetInt(L"", -1);
  bag_->SetValue(L"byte", &byte);
  bag_->SetValue(L"nested", &nested);
  inner->SetInt(L"type", 5);  // reads as a bag, not as an entry
  bag_->SetObject(L"inner", inner.Get());
  const std::string text = SettingsToText(bag_.Get());

  const KivPropDecorator back = KivCommon::CreateProperties();
  ASSERT_TRUE(SettingsFromText(text, back.Get(), &error_)) << error_;
  EXPECT_EQ(text, SettingsToText(back.Get()));
  KivRectF region;
  EXPECT_EQ(S_OK, back->GetRect(L"Crop.Region", &region));
  EXPECT_EQ(rect, region);
  CKivValue value;
  back.Reference().As<IKivPropertyList>()->GetValue(L"byte", &value);
  EXPECT_EQ(L"\x00c8", value.GetValueText());
  KivComPtr<IUnknown> object;
  ASSERT_EQ(S_OK, back->GetObject(L"inner", object.Put()));
  int32_t type = 0;
  EXPECT_EQ(S_OK, object.As<IKivProperties>()->GetInt(L"type", &type));
  EXPECT_EQ(5, type);
}

TEST_F(Settings, UnknownKeysAndMembersArePreserved) {
  const std::string text =
      R"({"clip":{"Future.Key":{"type":"int","value":"7"}},"format":"kivclip-settings",)"
      R"("notes":{"by":["a",1.5,null]},"version":1,"zoom":2})";
  const std::string once = Rewritten(text);
  EXPECT_NE(std::string::npos, once.find("\"Future.Key\""));
  EXPECT_NE(std::string::npos, once.find("\"by\""));
  EXPECT_NE(std::string::npos, once.find("\"zoom\" : 2"));
  EXPECT_EQ(std::string::npos, once.find("UnknownMembers"));
  EXPECT_EQ(once, Rewritten(once));
}

TEST_F(Settings, StoredMembersCannotReplaceTheDocuments) {
  bag_->SetInt(L"a", 1);
  bag_->SetString(kiv::kUnknownMembersKey, LR"({"version":99,"clip":7,"kept":1})");
  const std::string text = SettingsToText(bag_.Get());
  EXPECT_NE(std::string::npos, text.find("\"version\" : 1"));
  EXPECT_NE(std::string::npos, text.find("\"kept\" : 1"));
  EXPECT_TRUE(Read(text)) << error_;
  bag_->SetString(kiv::kUnknownMembersKey, L"[[[[ no document");
  EXPECT_TRUE(Read(SettingsToText(bag_.Get()))) << error_;
}

TEST_F(Settings, ReadingAddsToTheBag) {
  bag_->SetInt(L"old", 1);
  bag_->SetInt(L"both", 1);
  ASSERT_TRUE(Read(Document(R"({"both":{"type":"double","value":"2"}})")));
  double both = 0;
  EXPECT_EQ(S_OK, bag_->GetDouble(L"both", &both));
  EXPECT_EQ(2, both);
  EXPECT_EQ(2, Count());
}

struct RefusedCase {
  const char* name;
  std::string text, complaint;
};

const auto kByName = [](const auto& test) { return std::string(test.param.name); };

class RefusedSettings : public Settings, public testing::WithParamInterface<RefusedCase> {};

TEST_P(RefusedSettings, LeaveTheBagAlone) {
  EXPECT_FALSE(Read(GetParam().text));
  EXPECT_EQ(GetParam().complaint, error_.substr(0, GetParam().complaint.size()));
  EXPECT_EQ(std::string::npos, error_.find('\n'));
  EXPECT_EQ(0, Count());
}

std::string Repeat(const std::string& part, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += part;
  return text;
}

std::string NestedBags(int bags) {
  return Repeat(R"({"b":)", bags - 1) + "{}" + Repeat("}", bags - 1);
}

const char kGood[] = R"("good":{"type":"int","value":"1"},)";

INSTANTIATE_TEST_SUITE_P(
    Shape, RefusedSettings,
    testing::Values(
        RefusedCase{"Empty", "", "not JSON"}, RefusedCase{"NotJson", "{\n \"a\": }", "not JSON"},
        RefusedCase{"Number", "5", "not JSON"}, RefusedCase{"Array", "[]", "not a kivclip"},
        RefusedCase{"TrailingText", Document("{}") + "x", "not JSON"},
        RefusedCase{"Comment", "// a\n" + Document("{}"), "not JSON"},
        RefusedCase{"OtherFormat", R"({"format":"x","version":1,"clip":{}})", "not a kivclip"},
        RefusedCase{"FormatNumber", R"({"format":1,"version":1,"clip":{}})", "not a kivclip"},
        RefusedCase{"NoVersion", R"({"format":"kivclip-settings","clip":{}})",
                    "the settings document has no version"},
        RefusedCase{"Newer", R"({"format":"kivclip-settings","version":2,"clip":{}})",
                    "settings version 2 is newer than this program's 1"},
        RefusedCase{"HugeVersion", R"({"format":"kivclip-settings","version":1e300,"clip":{}})",
                    "the settings document has no version"},
        RefusedCase{"NoClip", R"({"format":"kivclip-settings","version":1})", "\"clip\" is not"},
        RefusedCase{"ClipArray", Document("[]"), "\"clip\" is not"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Entries, RefusedSettings,
    testing::Values(
        RefusedCase{"BareNumber", Document(std::string("{") + kGood + R"("z":5})"),
                    "\"z\": neither an entry nor a bag"},
        RefusedCase{"NoValue", Document(std::string("{") + kGood + R"("z":{"type":"int"}})"),
                    "\"z\": the value is not a text"},
        RefusedCase{"ValueNumber", Document(R"({"z":{"type":"int","value":5}})"),
                    "\"z\": the value is not a text"},
        RefusedCase{"TypeNumber", Document(R"({"z":{"type":5,"value":"5"}})"), "\"type\": neither"},
        RefusedCase{"UnknownType",
                    Document(std::string("{") + kGood + R"("z":{"type":"bool","value":"1"}})"),
                    "\"z\": unknown type \"bool\""},
        RefusedCase{"KeyTwice", Document(R"({"a":{},"a":{}})"), "not JSON"},
        RefusedCase{"LongKey", Document("{\"" + std::string(5000, 'k') + "\":{}}"), "\"kkkk"},
        RefusedCase{"Interface",
                    Document(R"({"z":{"type":"CKivPtr<IUnknown>","value":"Interface:0x10"}})"),
                    "\"z\": an interface cannot be stored"},
        RefusedCase{"InterfaceInside",
                    Document(R"({"z":{"type":"CKivValue","value":"t:CKivPtr<IUnknown>, v:I"}})"),
                    "\"z\": an interface cannot be stored"},
        RefusedCase{"InnerBagIsBad", Document(std::string("{") + kGood + R"("z":{"y":{"x":5}}})"),
                    "\"x\": neither"}),
    kByName);

INSTANTIATE_TEST_SUITE_P(
    Limits, RefusedSettings,
    testing::Values(RefusedCase{"DeepBags", Document(NestedBags(33)), "\"b\": bags are nested"},
                    RefusedCase{"DeepJson", Document(NestedBags(100000)), "the document is nested"},
                    RefusedCase{"DeepMember",
                                R"({"format":"kivclip-settings","version":1,"clip":{},"m":)" +
                                    Repeat("[", 100000) + Repeat("]", 100000) + "}",
                                "the document is nested"},
                    RefusedCase{"ManyParts", Document("[" + Repeat("0,", 3000001) + "0]"),
                                "the document has too many entries"},
                    RefusedCase{"Large", Document("{}") + std::string(65u << 20, ' '),
                                "the document is too large"}),
    kByName);

TEST_F(Settings, BagsNestUpToTheLimit) {
  EXPECT_TRUE(Read(Document(NestedBags(32)))) << error_;
  EXPECT_FALSE(SettingsToText(bag_.Get()).empty());
  const KivPropDecorator outer = KivCommon::CreateProperties();
  outer->SetObject(L"b", bag_.Get());
  EXPECT_TRUE(SettingsToText(outer.Get()).empty());
}

TEST_F(Settings, BracesInsideTextsAreNoNesting) {
  const std::string braces = Repeat("[{\\\"", 1000);
  EXPECT_TRUE(Read(Document(R"({"a":{"type":"std::wstring","value":")" + braces + "\"}}")))
      << error_;
}

TEST_F(Settings, ABagThatContainsItselfIsNotWritten) {
  const KivPropDecorator inner = KivCommon::CreateProperties();
  bag_->SetObject(L"inner", inner.Get());
  bag_->SetObject(L"again", inner.Get());
  EXPECT_FALSE(SettingsToText(bag_.Get()).empty()) << "twice side by side is no circle";
  inner->SetObject(L"outer", bag_.Get());
  EXPECT_TRUE(SettingsToText(bag_.Get()).empty());
  inner->SetObject(L"outer", nullptr);
  EXPECT_TRUE(SettingsToText(nullptr).empty());
}

class Plain final : public kiv::CountedObject<IUnknown> {};

TEST_F(Settings, InterfacesAreLeftOut) {
  auto* const object = new Plain;
  CKivValue value, nested;
  value.SetValue(CKivPtr<IUnknown>(object));
  nested.SetValue(value);
  bag_->SetObject(L"object", object);
  bag_->SetValue(L"value", &value);
  bag_->SetValue(L"nested", &nested);
  bag_->SetInt(L"number", 1);
  object->Release();
  const std::string text = SettingsToText(bag_.Get());
  EXPECT_EQ(std::string::npos, text.find("Interface"));
  EXPECT_EQ(std::string::npos, text.find("object"));
  EXPECT_NE(std::string::npos, text.find("\"number\""));
}

TEST_F(Settings, ALongAnalysisIsReadQuickly) {
  const KivPropDecorator data = KivCommon::CreateProperties();
  for (int i = 0; i < 50000; ++i) {
    data->SetString((L"Stab-Data-" + std::to_wstring(i)).c_str(), L"dx:1,2,da:3");
  }
  bag_->SetObject(L"data", data.Get());
  const std::string text = SettingsToText(bag_.Get());
  const KivPropDecorator back = KivCommon::CreateProperties();
  ASSERT_TRUE(SettingsFromText(text, back.Get(), &error_)) << error_;
  KivComPtr<IUnknown> object;
  ASSERT_EQ(S_OK, back->GetObject(L"data", object.Put()));
  EXPECT_EQ(50000, object.As<IKivPropertyList>()->GetCount());
}

}  // namespace
