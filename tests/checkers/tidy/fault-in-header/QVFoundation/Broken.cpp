#include "QVFoundation/Broken.h"
