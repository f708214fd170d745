#include "records/file_options.h"

int32_t g_ReadOptions = 0;
int32_t g_WriteOptions = 0;
