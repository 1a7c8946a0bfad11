// The property-list reader behind `import` and the object layer, which reads files users hand
// it. What it reads and writes again must read back.
#include "PropertyList.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    std::optional<QVariantMap> root = kestrabel::propertyListDictionaryFromData(bytes);
    if (!root)
        return 0;
    QByteArray written;
    if (kestrabel::propertyListBytes(*root, {}, &written) == kMediaFileNoErr &&
        !kestrabel::propertyListDictionaryFromData(written))
        std::abort();
    return 0;
}
