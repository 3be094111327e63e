#include "app/log_store.h"

LogStore logStore;
