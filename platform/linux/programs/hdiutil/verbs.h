#pragma once

#include "platform/linux/programs/hdiutil/arguments.h"

namespace tavrine {

// One function per verb. Each returns when all is done, and throws `ToolError` with the reason when it is not.

void createImage(const Arguments& arguments);
void attachImage(const Arguments& arguments);  ///< ends the program itself when it is done
void detachImage(const Arguments& arguments);
void changeImagePassword(const Arguments& arguments);
void printAttachedImages(const Arguments& arguments);

}  // namespace tavrine
