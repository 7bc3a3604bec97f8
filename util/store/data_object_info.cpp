// What a data object has of configurations. It stands here since a configuration, which one
// function takes as a copy, is made of things that are made of data objects.
#include "util/file/data_object.h"
#include "util/store/FakeRegistry.h"

namespace Quil {

void IDataObject::QueryInfo(CFakeRegistry /*info*/, const stringEx& /*path*/) {} // NOLINT: a slot

} // namespace Quil
