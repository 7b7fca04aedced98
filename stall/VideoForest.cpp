#include "VideoForest.h"
