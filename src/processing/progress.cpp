#include <processing/progress.h>

namespace Zelkov::Processing {

cancelled::cancelled() : std::runtime_error("cancelled by the progress callback") {}

}  // namespace Zelkov::Processing
