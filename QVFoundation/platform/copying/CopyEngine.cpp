#include "QVFoundation/platform/copying/CopyEngine_p.h"
