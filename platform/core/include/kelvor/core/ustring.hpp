// The family's text type: UTF-16 code units.
#pragma once

#include <string>

using ustring = std::u16string;
