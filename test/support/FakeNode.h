// A node that records what it is asked and answers what it was told.
//
// Threads:  any; the answers are set before other threads call.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/common/CountedObject.h"
#include "kiv/chain/CommandIds.h"
#include "kiv/chain/IKivSourceBase.h"
#include "test/support/CallLog.h"

namespace test {

struct SentCommand {
  uint32_t id = 0;
  uintptr_t param = 0;
  uintptr_t extra = 0;
  friend bool operator==(const SentCommand&, const SentCommand&) = default;
};

// Calls read "Seek 99", "Skip 3", "GetPosition", "GetCurrentFrame", "Flush", "Command 0x9C6",
// "Initialize", "Save", "Load". Counts references in the ordinary way.
class FakeNode : public kiv::CountedObject<IKivSourceBase> {
 public:
  static KivComPtr<FakeNode> Make() { return KivComPtr<FakeNode>::Adopt(new FakeNode); }
  FakeNode();

  int32_t GetPosition(int64_t* time) override;
  HRESULT Seek(int32_t frame, int32_t* reached, int32_t mode) override;
  HRESULT Skip(int32_t count, int32_t* moved) override;
  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT Flush() override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;

  uint32_t References();

  CallLog log;
  HRESULT seekResult = S_OK;
  HRESULT skipResult = S_OK;
  HRESULT flushResult = S_OK;
  HRESULT commandResult = S_OK;
  HRESULT initializeResult = S_OK;
  int32_t position = 0;
  int64_t time = 0;
  int32_t lastMode = -1;
  int32_t status = 0;
  // Without one, each call makes a frame that shows the position.
  KivComPtr<IKivFrame> frame;
  bool makesFrames = true;
  std::vector<SentCommand> commands;
  // What the last Initialize brought.
  KivComPtr<IKivProperties> settings;
  KivComPtr<IKivProperties> info;
};

}  // namespace test
