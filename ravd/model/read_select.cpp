// Select: a selector bound to the schema, then walked over the instances.
#include <algorithm>
#include <optional>

#include "ravd/model/read.h"
#include "ravd/model/selector.h"
#include "ravd/model/value_tree.h"

namespace ravd {

namespace {

// The parameter that a condition is about, as a path below the instance.
struct BoundCondition {
    const Condition *condition;
    Path path;
};

struct BoundElement {
    const SelectorElement *element;
    const SchemaNode *node;  // for a choice or a number: "#template"
    std::vector<BoundCondition> conditions;
};

std::optional<int> order_of(double a, double b) {
    return a < b ? -1 : a > b ? 1 : 0;
}

std::optional<int> order_of(std::string_view a, std::string_view b) {
    return a.compare(b);
}

// Whether value stands to a condition's in the way asked for. Values of different kinds are different, and nothing
// else; a parameter's text is compared with the condition's as it was written.
class Comparator {
 public:
    Comparator(const Condition &condition, const json_t *value) : condition_(condition), value_(value) {}

    bool fulfilled() const {
        if (condition_.comparison == Comparison::contains) return contains();
        const std::optional<int> order = compare();
        switch (condition_.comparison) {
            case Comparison::equal:
                return order == 0;
            case Comparison::different:
                return order != 0;
            case Comparison::less:
                return order && *order < 0;
            case Comparison::greater:
                return order && *order > 0;
            case Comparison::at_most:
                return order && *order <= 0;
            default:
                return order && *order >= 0;
        }
    }

 private:
    std::string_view text() const { return {json_string_value(value_), json_string_length(value_)}; }

    // Negative, 0 or positive; nothing where the two can't be ordered: then they are different.
    std::optional<int> compare() const {
        const json_t *asked = condition_.value.get();
        if (json_is_string(value_)) return order_of(text(), condition_.text);
        if (json_is_integer(value_) && json_is_integer(asked)) {
            const json_int_t a = json_integer_value(value_), b = json_integer_value(asked);
            return a < b ? -1 : a > b ? 1 : 0;
        }
        if (json_is_number(value_) && json_is_number(asked))
            return order_of(json_number_value(value_), json_number_value(asked));
        if (json_equal(value_, asked)) return 0;
        return std::nullopt;
    }

    bool contains() const {
        if (json_is_string(value_)) return text().find(condition_.text) != std::string_view::npos;
        const std::unique_ptr<char, decltype(&free)> dump(json_dumps(value_, JSON_ENCODE_ANY | JSON_COMPACT), free);
        return dump && std::string_view(dump.get()).find(condition_.text) != std::string_view::npos;
    }

    const Condition &condition_;
    const json_t *value_;
};

class Selection {
 public:
    Selection(Model &model, const Viewer &viewer, const Selector &selector, std::string &out, size_t limit)
        : reading_(model, viewer),
          selector_(selector),
          tree_(reading_, out),
          out_(out),
          begin_(out.size()),
          limit_(limit) {}

    // Looks everything up that the selector names.
    Fault bind();
    // Appends the members. Returns false when the reply has grown too large.
    bool write();
    // Nothing was reached, and nothing was left to choose.
    bool names_nothing() const { return !reached_ && !has_choice_; }
    // What the selector leads to, by name.
    const std::string &name() const { return name_; }

 private:
    bool is_too_large() const { return out_.size() - begin_ > limit_; }
    Fault bind_element(const SelectorElement &element);
    Fault bind_condition(const Condition &condition, BoundElement &bound);
    Fault bind_kept();

    void walk(size_t index, Record &record, const std::string &name);
    void walk_instances(size_t index, Record &record, const std::string &name);
    bool is_chosen(const BoundElement &bound, Record &row);
    bool is_fulfilled(const BoundCondition &bound, Record &row);
    void write_member(Record &record, const std::string &name);

    Reading reading_;
    const Selector &selector_;
    ValueTree tree_;
    std::string &out_;
    size_t begin_;
    size_t limit_;
    std::vector<BoundElement> elements_;
    std::vector<const SchemaNode *> kept_;
    const SchemaNode *node_ = nullptr;  // where the selector leads
    std::string name_;
    bool has_choice_ = false;
    bool reached_ = false;
};

bool is_choice_or_number(const SelectorElement &element) {
    return element.is_choice() || rv_tr_is_instance_number(std::string(element.text).c_str()) != 0;
}

std::string joined(const std::string &name, std::string_view element) {
    return (name.empty() ? name : name + '.') + std::string(element);
}

Fault Selection::bind() {
    node_ = &reading_.parts.schema->root;
    for (const SelectorElement &element : selector_.elements) {
        if (Fault fault = bind_element(element)) return fault;
    }
    if (node_->is_method()) return failure(name_, 9005);
    if (node_->is_parameter() && !node_->can_read(reading_.viewer.role)) return failure(name_, 9001);
    return bind_kept();
}

Fault Selection::bind_element(const SelectorElement &element) {
    const SchemaNode &parent = *node_;
    name_ = joined(name_, element.text.empty() ? "[]" : element.text);
    node_ = parent.find(element.text);
    if (!node_ && parent.multi && is_choice_or_number(element)) node_ = &parent.instance();
    if (!node_ || parent.is_method() || !reading_.can_see(*node_)) return failure(name_, 9005);
    has_choice_ |= element.is_choice();
    BoundElement &bound = elements_.emplace_back(BoundElement{&element, node_, {}});
    for (const Condition &condition : element.conditions) {
        if (Fault fault = bind_condition(condition, bound)) return fault;
    }
    return {};
}

Fault Selection::bind_condition(const Condition &condition, BoundElement &bound) {
    Path &path = bound.conditions.emplace_back(BoundCondition{&condition, {}}).path;
    const bool known = parse_path_below(*bound.node, condition.path, path) && path.node->is_parameter() &&
                       !path.in_method && reading_.can_see(*path.node);
    return known ? Fault() : failure(joined(name_, condition.path), 9005);
}

Fault Selection::bind_kept() {
    for (const std::string_view kept : selector_.kept) {
        const SchemaNode *child = node_->find(kept);
        if (!child || !child->is_parameter() || !reading_.can_see(*child)) return failure(joined(name_, kept), 9005);
        kept_.push_back(child);
    }
    return {};
}

bool Selection::write() {
    reading_.sync.update_below(*node_, reading_.viewer.role);
    walk(0, *reading_.parts.root, "");
    return !is_too_large();
}

void Selection::walk(size_t index, Record &record, const std::string &name) {
    if (is_too_large()) return;
    if (index == elements_.size()) return write_member(record, name);
    const auto &[element, node, conditions] = elements_[index];
    if (node->is_instance()) return walk_instances(index, record, name);
    if (node->multi) reading_.sync.update(*node);
    walk(index + 1, record, joined(name, element->text));
}

void Selection::walk_instances(size_t index, Record &record, const std::string &name) {
    const BoundElement &bound = elements_[index];
    const Table &table = record.table(*bound.node->parent);
    if (!bound.element->is_choice()) {
        if (Record *row = find_instance(table, bound.element->text))
            walk(index + 1, *row, joined(name, bound.element->text));
        return;
    }
    table.for_each([&](Record &row) {
        if (is_chosen(bound, row)) walk(index + 1, row, joined(name, std::to_string(row.number())));
    });
}

bool Selection::is_chosen(const BoundElement &bound, Record &row) {
    return std::all_of(bound.conditions.begin(), bound.conditions.end(),
                       [&](const BoundCondition &condition) { return is_fulfilled(condition, row); });
}

bool Selection::is_fulfilled(const BoundCondition &bound, Record &row) {
    Record *record = record_below(row, bound.path, reading_.sync);
    std::string text;
    if (!record || !reading_.append_value_of(*bound.path.node, record, text)) return false;
    const Json value(json_loadb(text.data(), text.size(), JSON_DECODE_ANY, nullptr));
    return Comparator(*bound.condition, value.get()).fulfilled();
}

void Selection::write_member(Record &record, const std::string &name) {
    reached_ = true;
    const size_t before = out_.size();
    append_key(out_, name.empty() ? "." : name);
    if (node_->is_parameter()) {
        if (!reading_.append_value_of(*node_, &record, out_)) out_.resize(before);
    } else if (selector_.keeps_some) {
        out_ += '{';
        for (const SchemaNode *parameter : kept_) tree_.write_parameter(*parameter, record);
        out_ += '}';
    } else {
        tree_.write_whole(*node_, record);
    }
}

}  // namespace

Fault read_selection(Model &model, const Viewer &viewer, std::string_view text, std::string &result, size_t limit) {
    Selector selector;
    if (std::string problem = parse_selector(text, selector); !problem.empty()) return {9003, std::move(problem), {}};
    const size_t before = result.size();
    result += "{\"Selection\":{";
    Selection selection(model, viewer, selector, result, limit);
    if (Fault fault = selection.bind()) {
        result.resize(before);
        return fault;
    }
    if (!selection.write()) return too_large(result, before);
    if (selection.names_nothing()) {
        result.resize(before);
        return failure(selection.name(), 9005);
    }
    result += "}}";
    return {};
}

}  // namespace ravd
