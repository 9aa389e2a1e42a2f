#include "kiv/StreamCommon/MediaLocations.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>

#include "kiv/base/AtBoundary.h"
#include "kiv/platform/KivCommon.h"

namespace {

constexpr std::wstring_view kMediaScheme = L"media://";
constexpr std::wstring_view kColourScheme = L"color://";
constexpr int32_t kPathCapacity = 2048;

// Used exactly as it stands, duplicates and the final upper-case entry included.
constexpr std::wstring_view kImageExtensions =
    L"*.bmp;*.jpg;*.jpeg;*.jp2;*.png;*.ico;*.html;*.info;*.miff;*.m2v;*.mpc;*.ico;*.mtv;*.pdb;"
    L"*.rgb;*.sfw;*.sgi;*.tif;*.tiff;*.uyvy;*.viff;*.ycbcr;*.yuv;*.emf;*.cmyk;*.dot;*.fax;*.art;"
    L"*.jng;*.pcl;*.map;*.win;*.logo;*.rose;*.app1;*.icc;*.tile;*.vid;*.picon;*.scan;*.cur;*.wmf;"
    L"*.avs;*.cgm;*.cin;*.crw;*.cut;*.dcm;*.dcr;*.dcx;*.dib;*.dng;*.dpx;*.epi;*.eps;*.ept;*.msl;"
    L"*.mvg;*.man;*.mat;*.mng;*.sun;*.svg;*.tga;*.tim;*.vmf;*.dng;*.pict;*.print;*.pnm;*.ppm;"
    L"*.fig;*.epdf;*.pbm;*.pcx;*.ps;*.cr2;*.djvu;*.exr;*.fits;*.fpx;*.gplt;*.gray;*.jpc;*.mrw;"
    L"*.otb;*.pam;*.pef;*.pfm;*.pxi;*.psd;*.pwp;*.raf;*.rla;*.xbm;*.xpm;*.xwd;*.x3f;*.iptc;"
    L"*.jfif;*.jpe;*.webp;*.heic;*.HEIC";
static_assert(kImageExtensions.size() == 652);

wchar_t AsciiLower(wchar_t c) {
  return c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c - L'A' + L'a') : c;
}

bool PathExists(const wchar_t* location) {
  const KivComPtr<IKivPathService> service = ObtainPathService();
  if (!service) return false;
  wchar_t path[kPathCapacity] = {};
  if (Failed(service->TranslateLocation(location, path, kPathCapacity)) || !path[0]) return false;
  std::error_code ignored;
  return std::filesystem::exists(KivCommon::WChar2Char(path), ignored);
}

}  // namespace

KivComPtr<IKivPathService> ObtainPathService() {
  KivComPtr<IKivPathService> service;
  KivCommon::GetInterface(kPathServiceClassId, nullptr, 0, IKivPathService::kIid,
                          service.PutVoid());
  return service;
}

bool IsMediaLocationAvailable(const wchar_t* location) {
  if (!location) return false;
  const std::wstring_view text = location;
  if (text.starts_with(kColourScheme)) return true;
  const bool hasScheme = text.starts_with(kMediaScheme);
  return AtBoundaryOr(
      false, [&] { return PathExists(hasScheme ? location + kMediaScheme.size() : location); });
}

bool IsImageLocation(const wchar_t* location) {
  if (!location) return false;
  const std::wstring_view text = location;
  if (text.starts_with(kColourScheme)) return true;
  const size_t dot = text.rfind(L'.');
  // Nothing longer than the list can stand in it.
  if (dot == std::wstring_view::npos || text.size() - dot >= kImageExtensions.size()) return false;
  return AtBoundaryOr(false, [&] {
    std::wstring extension;
    for (const wchar_t c : text.substr(dot)) extension += AsciiLower(c);
    return kImageExtensions.find(extension + L';') != std::wstring_view::npos;
  });
}
