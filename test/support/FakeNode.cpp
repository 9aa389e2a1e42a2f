#include "test/support/FakeNode.h"

#include <cstdio>
#include <utility>

#include "kiv/values/Saturate.h"
#include "test/support/Frames.h"
#include "test/support/Ledger.h"

namespace test {

FakeNode::FakeNode() { UseLedger(); }

int32_t FakeNode::GetPosition(int64_t* timeOut) {
  log.Add("GetPosition");
  if (timeOut) *timeOut = time;
  return position;
}

HRESULT FakeNode::Seek(int32_t index, int32_t* reached, int32_t mode) {
  log.Add("Seek", index);
  lastMode = mode;
  if (Failed(seekResult)) return seekResult;
  position = index;
  if (reached) *reached = index;
  return seekResult;
}

HRESULT FakeNode::Skip(int32_t count, int32_t* moved) {
  log.Add("Skip", count);
  if (Failed(skipResult)) return skipResult;
  position = kiv::ClampToInt32(int64_t{position} + count);
  if (moved) *moved = count;
  return skipResult;
}

KivComPtr<IKivFrame> FakeNode::GetCurrentFrame(int32_t* statusOut) {
  log.Add("GetCurrentFrame");
  if (statusOut) *statusOut = status;
  if (frame || !makesFrames) return frame;
  KivComPtr<IKivFrame> made = MakeFrame(position);
  made.As<IKivVideoFrame>()->SetFrameIndex(position);
  return made;
}

HRESULT FakeNode::Flush() {
  log.Add("Flush");
  return flushResult;
}

HRESULT FakeNode::ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) {
  char text[32];
  std::snprintf(text, sizeof text, "Command 0x%X", id);
  commands.push_back({id, param, extra});
  log.Add(text);
  return commandResult;
}

HRESULT FakeNode::Initialize(KivComPtr<IKivProperties> settingsBag,
                             KivComPtr<IKivProperties> infoBag) {
  settings = std::move(settingsBag);
  info = std::move(infoBag);
  log.Add("Initialize");
  return initializeResult;
}

HRESULT FakeNode::SaveSettings(IKivProperties* /*bag*/) {
  log.Add("Save");
  return S_OK;
}

HRESULT FakeNode::LoadSettings(IKivProperties* /*bag*/) {
  log.Add("Load");
  return S_OK;
}

uint32_t FakeNode::References() {
  AddRef();
  return Release();
}

}  // namespace test
