#include "kiv/platform/KeyFacts.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "kiv/component/NodeTable.h"
#include "test/support/FakeNode.h"

namespace {

// "clip read Crop.Enabled", and so on.
using Uses = std::set<std::string>;

// A bag that notes which keys it is asked for and told.
class NotingBag : public kiv::CountedObject<IKivProperties> {
 public:
  NotingBag(const char* name, Uses* uses) : name_(name), uses_(uses) {}
  IKivProperties* Stored() const { return bag_.Get(); }

  HRESULT SetValue(const wchar_t* key, const CKivValue* value) override {
    return Note("write", key)->SetValue(key, value);
  }
  HRESULT GetString(const wchar_t* key, wchar_t* buffer, int32_t capacity) override {
    return Note("read", key)->GetString(key, buffer, capacity);
  }
#define NOTING(type, name)                                     \
  HRESULT Set##name(const wchar_t* key, type value) override { \
    return Note("write", key)->Set##name(key, value);          \
  }
  NOTING(int32_t, Int)
  NOTING(const wchar_t*, String)
  NOTING(double, Double)
  NOTING(const KivRectF*, Rect)
  NOTING(const KivRange*, Range)
  NOTING(const KivSize*, Size)
  NOTING(IUnknown*, Object)
  NOTING(const KivRational*, Rational)
#undef NOTING
#define NOTING(type, name)                                      \
  HRESULT Get##name(const wchar_t* key, type* value) override { \
    return Note("read", key)->Get##name(key, value);            \
  }
  NOTING(int32_t, Int)
  NOTING(double, Double)
  NOTING(KivRectF, Rect)
  NOTING(KivRange, Range)
  NOTING(KivSize, Size)
  NOTING(IUnknown*, Object)
  NOTING(KivRational, Rational)
#undef NOTING

 private:
  IKivProperties* Note(const char* what, const wchar_t* key) {
    uses_->insert(std::string(name_) + " " + what + " " + KivCommon::WChar2Char(key));
    return bag_.Get();
  }

  const char* const name_;
  Uses* const uses_;
  const KivPropDecorator bag_ = KivCommon::CreateProperties();
};

constexpr wchar_t kDocument[] =
    LR"({"FrameRateDen":1,"FrameRateNum":25,"dataType":1,"params":[{"index":0,"valueType":"KivRectF","valueValue":"left:0.0, top:0.0, width:1.0, height:1.0"}],"splineDegree":0,"splineType":0})";

const std::map<NodeType, std::string> kNames = {{NodeType::kSource, "source"},
                                                {NodeType::kAlphaVideo, "alpha video"},
                                                {NodeType::kFrameCache, "frame cache"},
                                                {NodeType::kStabilizer, "stabilizer"},
                                                {NodeType::kCrop, "crop"},
                                                {NodeType::kFrameRate, "frame rate"},
                                                {NodeType::kReverse, "reverse"},
                                                {NodeType::kSpeed, "speed"}};
const std::map<KeyBag, const char*> kBags = {
    {KeyBag::kSettings, "settings"}, {KeyBag::kFacts, "facts"}, {KeyBag::kClip, "clip"}};

std::string KeyOf(const KeyFact& fact) {
  for (const auto& key : kiv::facts::kKeyNames) {
    if (key.name == fact.name) return std::string(key.text).append(fact.suffix);
  }
  return std::string(fact.name);
}

// A value of the fact's type under its key.
void Store(const KeyFact& fact, IKivProperties* bag) {
  const std::wstring key = KivCommon::Char2WChar(KeyOf(fact).c_str());
  const bool isDocument = fact.suffix == ".Serialize";
  const KivRational rate{25, 1};
  const KivRange range{0, 9};
  const KivSize size{64, 36};
  if (fact.suffix == ".Serialize.Size") {
    bag->SetInt(key.c_str(), static_cast<int32_t>(std::size(kDocument)));
  } else if (fact.type == "integer") {
    bag->SetInt(key.c_str(), 1);
  } else if (fact.type == "string") {
    bag->SetString(key.c_str(), isDocument ? kDocument : L"");
  } else if (fact.type == "rational") {
    bag->SetRational(key.c_str(), &rate);
  } else if (fact.type == "range") {
    bag->SetRange(key.c_str(), &range);
  } else if (fact.type == "size") {
    bag->SetSize(key.c_str(), &size);
  }
}

bool Names(std::string_view list, const std::string& name) {
  return (", " + std::string(list) + ",").find(", " + name + ",") != std::string::npos;
}

// What the table says of a node. A stored bag is written only once there is something to store.
Uses Documented(const std::string& node) {
  Uses uses;
  for (const KeyFact& fact : kiv::facts::kKeys) {
    const auto bag = kBags.find(fact.bag);
    if (bag == kBags.end()) continue;
    const std::string start = bag->second;
    if (Names(fact.readers, node)) uses.insert(start + " read " + KeyOf(fact));
    if (Names(fact.writers, node) && fact.type != "bag")
      uses.insert(start + " write " + KeyOf(fact));
  }
  return uses;
}

// What the node does: with everything in its bags, and with nothing in them.
Uses Noted(const NodeClass& row) {
  Uses uses;
  for (const bool filled : {false, true}) {
    const auto upstream = test::FakeNode::Make();
    const NodeRef node = row.create(nullptr, NodeRef(upstream));
    std::map<KeyBag, KivComPtr<NotingBag>> bags;
    for (const auto& [bag, name] : kBags) {
      bags[bag] = KivComPtr<NotingBag>::Adopt(new NotingBag(name, &uses));
    }
    for (const KeyFact& fact : kiv::facts::kKeys) {
      const auto bag = bags.find(fact.bag);
      if (filled && bag != bags.end()) Store(fact, bag->second->Stored());
    }
    node->Initialize(bags[KeyBag::kSettings], bags[KeyBag::kFacts]);
    node->LoadSettings(bags[KeyBag::kClip].Get());
    node->SaveSettings(bags[KeyBag::kClip].Get());
  }
  return uses;
}

TEST(KeyFacts, NodesReadAndWriteWhatTheTableSays) {
  for (const NodeClass& row : ComponentNodes()) {
    const std::string name = kNames.at(row.type);
    EXPECT_EQ(Documented(name), Noted(row)) << name;
  }
}

}  // namespace
