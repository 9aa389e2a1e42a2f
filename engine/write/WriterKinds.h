// The makers of the single kinds of writers, for OpenWriter.
#pragma once

#include <atomic>
#include <memory>

#include "engine/write/Writer.h"

namespace kiv {

struct WriterSetup {
  OutputPlan plan;
  PictureSeries series;
  const std::atomic<bool>* cancelled = nullptr;
};

WriteError OpenEncodedWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer);
WriteError OpenPictureWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer);
WriteError OpenPicturesWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer);
WriteError OpenYuv4MpegWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer);
WriteError OpenRawWriter(const WriterSetup& setup, std::unique_ptr<Writer>* writer);

}  // namespace kiv
