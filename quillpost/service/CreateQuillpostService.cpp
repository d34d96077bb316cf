#include <TalvoQuillpost/IService.h>

#include "service/Service.h"

namespace TalvoQuillpost {

boost::shared_ptr<IService> CreateQuillpostService() {
  return boost::shared_ptr<Service>(new Service);  // from here on shared_from_this works
}

}  // namespace TalvoQuillpost
