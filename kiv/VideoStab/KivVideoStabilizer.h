// The stabilizer node: node type 3.
#pragma once

#include <atomic>
#include <cstdint>

#include "kiv/VideoStab/KivVideoStabilizer_ExtendControl.h"
#include "kiv/base/Locks.h"
#include "kiv/chain/Dispatch.h"
#include "kiv/chain/SourceBase.h"

// Passes frames on until its analysis task has motion data for its source; then returns corrected
// ones.
//
// Must stand where frame numbers are the source's: after the source, alpha or cache nodes, before
// rate, reverse and speed.
//
// Units:    source frames; the level is explained in kiv/platform/Stabilizer.h.
// Owns:     its upstream reference, the task, and one output frame, which is refilled for each
//           corrected frame.
// Threads:  one caller at a time for frames; settings, commands and the task from any thread
//           meanwhile.
// Locks:    lock_ guards the settings, before the task's. Initialize holds it throughout, so also
//           while it waits for a run that its settings end.
// Errors:   a frame that cannot be corrected is returned unchanged.
class CKivVideoStabilizer : public CSourceBase {
 public:
  CKivVideoStabilizer(IUnknown* outer, NodeRef upstream);
  ~CKivVideoStabilizer() override;

  // Answers the task's identities by the task.
  HRESULT NonDelegatingQueryInterface(const GUID& iid, void** object) override;

  KivComPtr<IKivFrame> GetCurrentFrame(int32_t* status) override;
  HRESULT ProcessCommand(uint32_t id, uintptr_t param, uintptr_t extra) override;
  // S_FALSE without a settings bag.
  HRESULT Initialize(KivComPtr<IKivProperties> settings, KivComPtr<IKivProperties> info) override;
  // The task's results: S_FALSE when there is no motion data to save or load.
  HRESULT SaveSettings(IKivProperties* bag) override;
  HRESULT LoadSettings(IKivProperties* bag) override;

 private:
  HRESULT OnSetEnabled(const CommandArgs& args);
  HRESULT OnGetEnabled(const CommandArgs& args);
  HRESULT OnSetLevel(const CommandArgs& args);
  HRESULT OnGetLevel(const CommandArgs& args);
  HRESULT OnGetExtendControl(const CommandArgs& args);
  HRESULT OnGetSettings(const CommandArgs& args);
  HRESULT OnSetSettings(const CommandArgs& args);

  // Each reads one part of the settings; true when that changed it.
  bool ReadPathLocked(IKivProperties* settings, IKivProperties* info) KIV_REQUIRES(lock_);
  bool ReadStreamLocked(IKivProperties* settings, IKivProperties* info) KIV_REQUIRES(lock_);
  bool ReadSwitchesLocked(IKivProperties* settings) KIV_REQUIRES(lock_);
  bool ReadSourceLocked(IKivProperties* info) KIV_REQUIRES(lock_);

  // Brings the task in line with changed settings.
  void ReapplySettings();
  bool HasForeignData();
  void RestartTask(const StabSettings& settings);
  KivComPtr<IKivFrame> Corrected(const KivComPtr<IKivFrame>& frame);

  SimpleSync::CSimpleMutex lock_;
  StabSettings settings_ KIV_GUARDED_BY(lock_);
  std::atomic<int32_t> level_;
  KivComPtr<IKivFrame> output_;
  CKivVideoStabExtendControl task_;
};
