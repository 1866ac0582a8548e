#include "inbox/http/ClientAddress.h"
#include "inbox/http/HttpRequest.h"
#include "inbox/http/ListenAddress.h"
#include "inbox/http/RequestTarget.h"
#include "tests/inbox/fuzz/FuzzInput.h"

using namespace quibel::inbox;
using namespace quibel::inbox::testing;

// NOLINTNEXTLINE(readability-identifier-naming): the name libFuzzer calls.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const auto text = toInput(bytes, size);

    if (const auto target = RequestTarget::parse(text)) {
        require(target->path.startsWith('/') && !target->path.contains('?'));
        const auto again = RequestTarget::parse(target->path);
        require(again && again->path == target->path && again->query.isEmpty());
    }

    HttpRequest request;
    request.headers.insert("cookie", text);
    const auto value = request.cookie("session");
    require(text.contains(value) && !value.contains(';'));

    if (const auto address = ListenAddress::parse(QString::fromUtf8(text)))
        require(ListenAddress::parse(address->toString()) == address);

    const auto client = ClientAddress::parse(text);
    require(ClientAddress::parse(client.text).text == client.text);
    return 0;
}
