#include "SearchKeys.h"
