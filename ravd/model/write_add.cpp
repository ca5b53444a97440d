// AddObject.
#include "ravd/json_text.h"
#include "ravd/model/reading.h"
#include "ravd/model/write.h"

namespace ravd {

Fault add_object(Model &model, const Viewer &viewer, std::string_view name, std::string &result) {
    Reading reading(model, viewer);
    Path path;
    if (const int code = reading.parse(name, path)) return failure(name, code);
    const SchemaNode &node = *path.node;
    if (!node.multi || path.every_instance) return failure(name, 9005);
    const std::vector<Place> places = present_places(path, reading.parts, reading.sync);
    if (places.empty()) return failure(name, 9005);
    if (node.fixed) return failure(name, 9008);
    if (!node.can_write(viewer.role)) return failure(name, 9001);
    Table &table = places.front().record->table(node);
    const std::string path_of_next = places.front().name + std::to_string(table.next_number()) + '.';
    if (reading.parts.asks()) {
        HandledChanges handled;
        handled.add(node, places.front().name, table.next_number());
        if (!reading.parts.admits(std::move(handled))) return {};
    }
    if (!reading.parts.keep({{ModelKeeper::Change::Kind::added, path_of_next, nullptr}})) return failure(name, 9002);
    const Record *added = table.add();
    reading.parts.kept();
    if (!added) return failure(name, 9004);
    reading.parts.record({RecordedChange::Kind::add, path_of_next, {}, {}});
    if (reading.parts.listener) reading.parts.listener->instance_added(places.front().name, added->number());
    result += "{\"InstanceNumber\":";
    append_json_integer(result, added->number());
    result += ",\"Status\":0}";
    return {};
}

}  // namespace ravd
