#include "platform/folder_attributes.h"
