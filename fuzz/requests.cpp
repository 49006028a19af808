// What a client writes: the frames and the objects in them.

#include "target.h"

#include "frame.h"
#include "requests.h"

#include <QMetaType>

#include <algorithm>

using Fuzz::require;

namespace {

int checkFrames(const QByteArray &input)
{
    int position = 0;
    for (int frames = 0;; ++frames) {
        const Frame::Slice slice = Frame::take(input, position, Frame::Client);
        if (slice.state != Frame::State::Complete) {
            require(slice.end == position, "an incomplete frame takes no bytes");
            require(slice.payload.isEmpty(), "an incomplete frame has no payload");
            return frames;
        }
        require(slice.end <= input.size(), "a frame ends inside the bytes");
        require(Frame::pack(Frame::Client, slice.payload)
                    == input.mid(position, slice.end - position),
                "a payload packed again gives the same frame");
        position = slice.end;
    }
}

} // namespace

void Fuzz::run(const QByteArray &input)
{
    const QVariantList objects = Requests::parse(input);
    require(objects.size() <= checkFrames(input), "a frame holds at most one object");
    const auto isObject = [](const QVariant &object) {
        return object.userType() == QMetaType::QJsonObject;
    };
    require(std::all_of(objects.begin(), objects.end(), isObject), "parsing gives objects only");

    const int cut = input.isEmpty() ? 0 : static_cast<uchar>(input.back()) % input.size();
    const QVariantList first = Requests::parse(input.left(cut));
    require(first == objects.mid(0, first.size()),
            "a beginning of the bytes gives the first of the objects");
}
