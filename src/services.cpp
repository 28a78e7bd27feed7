// Anchors of the service interfaces and the lookups without a default.
#include "service_lookup.hpp"

namespace klf {

// Out-of-line destructors give each interface one home for its vtable and
// type information, shared by every library that implements it.
IncorporateExoticDataService::~IncorporateExoticDataService() = default;
MissingService::~MissingService() = default;
ObjectShapeService::~ObjectShapeService() = default;
ExtractedString::~ExtractedString() = default;
StringExtractionService::~StringExtractionService() = default;

NoObjectShapeService::NoObjectShapeService()
    : std::runtime_error("No ObjectShapeService available.") {}

namespace detail {

std::shared_ptr<StringExtractionService> string_extraction_service() {
    return get_service<StringExtractionService>();
}

ObjectShapeService& object_shape_service() {
    // A failed lookup throws out of the initialiser, so nothing is stored and
    // the next object that needs the service looks again.
    static const std::shared_ptr<ObjectShapeService>* const cached = [] {
        std::shared_ptr<ObjectShapeService> found = get_service<ObjectShapeService>();
        if (!found) {
            throw NoObjectShapeService();
        }
        return new std::shared_ptr<ObjectShapeService>(std::move(found));
    }();
    return **cached;
}

}  // namespace detail
}  // namespace klf
