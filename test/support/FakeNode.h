// A node that records what it is asked, a table of such nodes, and the way to send commands.
//
// Threads:  any; what a node answers is set before other threads call.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "kiv/chain/ChainBuilder.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/values/Saturate.h"
#include "test/support/CallLog.h"
#include "test/support/Frames.h"

namespace test {

// Id, parameter, extra value.
using SentCommand = std::array<uintptr_t, 3>;

// Calls read "Seek 99", "Skip 3", "GetPosition", "GetCurrentFrame", "Flush", "Command 0x9C6",
// "Initialize", "Save", "Load". Counts references in the ordinary way.
class FakeNode : public kiv::CountedObject<IKivSourceBase> {
 public:
  static KivComPtr<FakeNode> Make() { return KivComPtr<FakeNode>::Adopt(new FakeNode); }

  int32_t GetPosition(int64_t* timeOut) override {
    log.Add("GetPosition");
    if (timeOut) *timeOut = rate ? TimeOf(std::min(position, lastFrame)) : time;
    return position;
  }
  HRESULT Seek(int32_t index, int32_t* reached, int32_t mode) override {
    log.Add("Seek " + std::to_string(index));
    lastMode = mode;
    if (const HRESULT hr = Answer(); Failed(hr)) return hr;
    position = index;
    if (reached) *reached = index;
    return result;
  }
  HRESULT Skip(int32_t count, int32_t* moved) override {
    log.Add("Skip " + std::to_string(count));
    if (const HRESULT hr = Answer(); Failed(hr)) return hr;
    position = kiv::ClampToInt32(int64_t{position} + count);
    if (moved) *moved = count;
    return result;
  }
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* statusOut) override {
    log.Add("GetCurrentFrame");
    const HRESULT answer = FailsNow() ? E_FAIL : S_OK;
    if (statusOut) *statusOut = Failed(answer) ? answer : status;
    if (Failed(answer)) return nullptr;
    if (frame) return frame;
    const int32_t shown = std::min(position, lastFrame);
    KivComPtr<IKivFrame> made = MakeFrame(kiv::ClampToInt32(int64_t{shown} * shownScale), size);
    made.As<IKivVideoFrame>()->SetFrameIndex(position);
    if (rate) made->SetTime(TimeOf(shown), TimeOf(1));
    return made;
  }
  HRESULT Flush() override { return log.Add("Flush", result); }
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override {
    char text[32];
    std::snprintf(text, sizeof text, "Command 0x%X", id);
    commands.push_back({id, param, extra});
    return log.Add(text, result);
  }
  HRESULT Initialize(KivComPtr<IKivProperties> settingsBag,
                     KivComPtr<IKivProperties> infoBag) override {
    settings = std::move(settingsBag);
    info = std::move(infoBag);
    return log.Add("Initialize", initializeResult);
  }
  HRESULT SaveSettings(IKivProperties* /*bag*/) override { return log.Add("Save"); }
  HRESULT LoadSettings(IKivProperties* /*bag*/) override { return log.Add("Load"); }
  uint32_t References() { return AddRef(), Release(); }

  CallLog log;
  HRESULT result = S_OK;  // of all but Initialize
  // The n-th Seek, Skip or GetCurrentFrame from now on (0 is the next) fails once; -1 for none.
  int failAfter = -1;
  HRESULT initializeResult = S_OK;
  int32_t position = 0;
  int64_t time = 0;
  // With a rate, time follows the position up to the last frame, and frames carry it.
  std::optional<KivRational> rate;
  int32_t lastFrame = INT32_MAX;
  std::function<int64_t(int32_t)> timeAt;  // of frames that are not evenly spaced
  int32_t shownScale = 1;                  // a frame shows its position times this
  KivSize size{4, 2};
  int32_t lastMode = -1;
  int32_t status = 0;
  // Without one, each call makes a frame that shows the position.
  KivComPtr<IKivFrame> frame;
  std::vector<SentCommand> commands;
  // What the last Initialize brought.
  KivComPtr<IKivProperties> settings;
  KivComPtr<IKivProperties> info;

 private:
  bool FailsNow() { return failAfter >= 0 && failAfter-- == 0; }
  HRESULT Answer() { return FailsNow() ? E_FAIL : result; }
  int64_t TimeOf(int32_t index) const {
    if (timeAt) return timeAt(index);
    return index * int64_t{10'000'000} * rate->denominator / rate->numerator;
  }
};

// A row for each of the node types, and a record of what a chain builder asked for. One at a time
// in a process.
class FakeNodes {
 public:
  struct Made {
    NodeType type;
    IUnknown* outer;
    IKivSourceBase* upstream;
    KivComPtr<FakeNode> node;
  };

  FakeNodes() { current = this; }
  NodeTable Table() const { return kFakes; }
  // The node made last.
  FakeNode& Tail() const { return *made.back().node; }

  std::vector<Made> made;
  // The n-th node from now on (0 is the next) cannot be made; -1 for none.
  int failAfter = -1;

 private:
  static inline FakeNodes* current = nullptr;

  template <NodeType kType>
  static NodeRef MakeFake(IUnknown* outer, const NodeRef& upstream) {
    if (current->failAfter == 0) return nullptr;
    if (current->failAfter > 0) --current->failAfter;
    current->made.push_back({kType, outer, upstream.Get(), FakeNode::Make()});
    return NodeRef(current->made.back().node);
  }

  static constexpr NodeClass kFakes[] = {
#define KIV_FAKE_ROW(id, name, className) {NodeType::k##name, &MakeFake<NodeType::k##name>},
      KIV_NODE_TYPES(KIV_FAKE_ROW)
#undef KIV_FAKE_ROW
  };
};

// A node over a fake source. It has no outer object: it counts in the ordinary way and ends with
// this.
template <typename Node>
struct NodeOnFake {
  KivComPtr<FakeNode> source = FakeNode::Make();
  KivComPtr<Node> node{new Node(nullptr, source)};
};

// A record or an object.
template <typename T>
HRESULT Send(IKivSourceBase& node, CommandId id, T* record, int32_t extra = 0) {
  return node.ProcessCommand(static_cast<uint32_t>(id), reinterpret_cast<uintptr_t>(record),
                             static_cast<uintptr_t>(intptr_t{extra}));
}

// A number, widened with its sign.
inline HRESULT Send(IKivSourceBase& node, CommandId id, int32_t number = 0) {
  return node.ProcessCommand(static_cast<uint32_t>(id), static_cast<uintptr_t>(intptr_t{number}),
                             0);
}

}  // namespace test
