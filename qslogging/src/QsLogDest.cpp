// The out-of-line destructor anchors Destination's vtable and type info in
// the library, so that destinations implemented in other libraries and
// programs all share them.
#include <QsLog/QsLogDest.h>

namespace QsLogging {

Destination::~Destination() = default;

} // namespace QsLogging
