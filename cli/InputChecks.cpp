#include "cli/InputChecks.h"

#include "cli/OptionTable.h"
#include "session/FileChecks.h"

namespace cli {

void CheckFiles(const Options& options) {
  kiv::session::CheckFiles({options.input, options.clip, options.output, options.form,
                            options.report, options.saveSettings, options.command->printsResult});
}

}  // namespace cli
