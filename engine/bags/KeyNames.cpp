#include "kiv/platform/KeyNames.h"

#define KIV_DEFINE_KEY(group, name, text) \
  namespace KivKey::group {               \
  const wchar_t* const name = L##text;    \
  }
KIV_KEYS(KIV_DEFINE_KEY)
#undef KIV_DEFINE_KEY

namespace KivKey::Filter::Property {

#define KIV_PARAM_KEY(n) L"Filter.Property.Param." L## #n
const wchar_t* const kParamsArray[kParamsArrayLength] = {
    KIV_PARAM_KEY(0),  KIV_PARAM_KEY(1),  KIV_PARAM_KEY(2),  KIV_PARAM_KEY(3),  KIV_PARAM_KEY(4),
    KIV_PARAM_KEY(5),  KIV_PARAM_KEY(6),  KIV_PARAM_KEY(7),  KIV_PARAM_KEY(8),  KIV_PARAM_KEY(9),
    KIV_PARAM_KEY(10), KIV_PARAM_KEY(11), KIV_PARAM_KEY(12), KIV_PARAM_KEY(13), KIV_PARAM_KEY(14),
    KIV_PARAM_KEY(15), KIV_PARAM_KEY(16), KIV_PARAM_KEY(17), KIV_PARAM_KEY(18), KIV_PARAM_KEY(19),
    KIV_PARAM_KEY(20), KIV_PARAM_KEY(21), KIV_PARAM_KEY(22), KIV_PARAM_KEY(23), KIV_PARAM_KEY(24),
    KIV_PARAM_KEY(25), KIV_PARAM_KEY(26), KIV_PARAM_KEY(27), KIV_PARAM_KEY(28), KIV_PARAM_KEY(29),
    KIV_PARAM_KEY(30), KIV_PARAM_KEY(31)};
#undef KIV_PARAM_KEY

}  // namespace KivKey::Filter::Property
