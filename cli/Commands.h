// The commands of kivclip. Each returns when its work is done, and throws SessionError otherwise.
#pragma once

#include "cli/Options.h"

namespace cli {

void RunRender(const Options& options);
void RunFrame(const Options& options);
void RunSheet(const Options& options);
void RunStabilize(const Options& options);
void RunKeyframes(const Options& options);
void RunVerify(const Options& options);
void RunInfo(const Options& options);
void RunRegister(const Options& options);
void RunUnregister(const Options& options);

}  // namespace cli
