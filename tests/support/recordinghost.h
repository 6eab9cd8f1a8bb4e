/// \file
/// The recording host beside the rest of the tests' furniture.
#pragma once

#include "nbihost/recordinghost.h"
