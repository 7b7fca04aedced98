#include "GenlMessage.h"
