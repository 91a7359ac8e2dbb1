#include "LumindraWorkspace/OpenExceptionLumindra.h"

namespace Quelto::Lumindra {

OpenExceptionLumindra::OpenExceptionLumindra(const std::string& description, int code, StatisticsEvent statistics)
    : Core::Exception(description, code), statistics_(std::move(statistics))
{
}

OpenExceptionLumindra::~OpenExceptionLumindra() = default;

} // namespace Quelto::Lumindra
