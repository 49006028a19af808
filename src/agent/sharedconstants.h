#pragma once

// What the daemon's files share: the names of the configuration's members and the service's URLs.
#include "confkeys.h"
#include "serverurls.h"
