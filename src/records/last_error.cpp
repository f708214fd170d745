#include "records/last_error.h"

int16_t g_LastError = 0;
