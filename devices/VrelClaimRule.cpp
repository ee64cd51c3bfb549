#include "devices/VrelClaimRule.h"

#include <algorithm>
#include <iterator>

bool VrelClaimRule::isRecoveryDevice(PortNumber const& port, std::uint16_t vendorId, std::uint16_t productId)
{
    return vendorId == kVendorId &&
           std::find(std::begin(kProductIds), std::end(kProductIds), productId) != std::end(kProductIds) &&
           port.getConnectionType() == PortNumber::UsbConnection;
}
