// The one place where the plain sources and sinks are compiled.

#include "util/file/generic_stream.h"

namespace Quil {

template class CGenericSeekableSource<CSysFile>;
template class CGenericSeekableSource<CByteIO>;
template class CGenericSeekableSink<CSysFile>;
template class CGenericSeekableSink<CByteIO>;

} // namespace Quil
