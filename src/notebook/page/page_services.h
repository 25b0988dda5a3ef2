// What all connections of a page's server share.
#pragma once

#include "notebook/page/access.h"
#include "notebook/page/api.h"
#include "notebook/page/event_hub.h"
#include "notebook/page/page_files.h"
#include "notebook/page/request_log.h"
#include "notebook/page/server_limits.h"

namespace ktnotebook {

// All outlives the connections.
struct PageServices {
  const ServerLimits& limits;
  const Access& access;
  const PageFiles& files;
  Api& api;
  EventHub& events;
  RequestLog& log;
};

}  // namespace ktnotebook
