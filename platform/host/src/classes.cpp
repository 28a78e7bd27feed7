// Classes: the process-wide registry of object classes, class information
// (hyGetInfo, hyIsA, find_method), objects, opaque arrays and function
// handles.
#include <map>
#include <mutex>
#include <set>
#include <string>

#include "array.hpp"

using namespace matrix::host::internal;
using matrix::HostError;
using matrix::unique_hyarray_ptr;

namespace {

struct ClassRecord final : hyClassInfo {
    std::string class_name;
    std::vector<std::string> bases;
    std::vector<std::string> methods;

    const char* name() const noexcept override { return class_name.c_str(); }
    // Walks the class and its bases (through their current definitions).
    template <class Pred>
    bool any_in_hierarchy(Pred pred) const;
    bool is_a(std::string_view n) const override;
    unique_hyarray_ptr find_method(std::string_view m) const override;
};

// Records are never freed: a redefinition replaces the entry of the name but
// keeps the old record alive for whoever still holds it.
struct Registry {
    std::mutex mutex;
    std::map<std::string, const ClassRecord*, std::less<>> current;
    std::vector<std::unique_ptr<ClassRecord>> all;
};

Registry& registry() {
    static Registry* r = new Registry;  // outlives every static destructor
    return *r;
}

template <class Pred>
bool ClassRecord::any_in_hierarchy(Pred pred) const {
    Registry& r = registry();
    const std::lock_guard lock(r.mutex);
    std::set<std::string_view> seen;
    std::vector<const ClassRecord*> todo{this};
    while (!todo.empty()) {
        const ClassRecord* c = todo.back();
        todo.pop_back();
        if (!seen.insert(c->class_name).second)
            continue;
        if (pred(*c))
            return true;
        for (const std::string& b : c->bases)
            if (auto it = r.current.find(b); it != r.current.end())
                todo.push_back(it->second);
            else if (!seen.count(b)) {
                // An undefined base still counts by name.
                ClassRecord stub;
                stub.class_name = b;
                if (pred(stub))
                    return true;
            }
    }
    return false;
}

bool ClassRecord::is_a(std::string_view n) const {
    return !n.empty() && any_in_hierarchy([&](const ClassRecord& c) { return c.class_name == n; });
}

unique_hyarray_ptr ClassRecord::find_method(std::string_view m) const {
    std::string owner;
    const bool found = any_in_hierarchy([&](const ClassRecord& c) {
        for (const std::string& x : c.methods)
            if (x == m) {
                owner = c.class_name;
                return true;
            }
        return false;
    });
    if (!found)
        return nullptr;
    const std::string full = owner + "." + std::string(m);
    return matrix::host::create_function_handle(
        make_saved_struct(std::u16string(full.begin(), full.end()), "classmethod", u""));
}

struct BuiltinInfo final : hyClassInfo {
    explicit BuiltinInfo(const char* n) : n_(n) {}
    const char* name() const noexcept override { return n_; }
    bool is_a(std::string_view n) const override { return n == n_; }
    unique_hyarray_ptr find_method(std::string_view) const override { return nullptr; }
    const char* n_;
};

const ClassRecord* lookup(std::string_view name) {
    Registry& r = registry();
    const std::lock_guard lock(r.mutex);
    auto it = r.current.find(name);
    return it == r.current.end() ? nullptr : it->second;
}

unique_hyarray_ptr make_object(hyClassID cls, std::string_view class_name,
                               std::span<const std::size_t> dims, bool deferred) {
    if (lookup(class_name) == nullptr)
        throw HostError("no class named '" + std::string(class_name) + "' is defined");
    const std::size_t none[] = {0, 0};
    Owned a = make_array(cls, hyREAL, false, deferred ? std::span<const std::size_t>(none) : dims);
    a->class_name = class_name;
    if (deferred) {
        (void)allocation_size(dims, 1);
        a->hidden_dims.assign(dims.begin(), dims.end());
        a->pending.store(true, std::memory_order_release);
    }
    return wrap(std::move(a));
}

}  // namespace

namespace matrix::host::internal {

unique_hyarray_ptr make_saved_struct(std::u16string_view function, std::string_view type,
                                     std::u16string_view file) {
    const std::size_t one[] = {1, 1};
    const char* outer[] = {"function_handle"};
    const char* inner[] = {"function", "type", "file"};
    unique_hyarray_ptr s = detail::do_create_struct(one, outer);
    unique_hyarray_ptr f = detail::do_create_struct(one, inner);
    hySetFieldByNumber(f.get(), 0, 0, create(function.data(), function.size()).release());
    const std::u16string t(type.begin(), type.end());
    hySetFieldByNumber(f.get(), 0, 1, create(t.data(), t.size()).release());
    hySetFieldByNumber(f.get(), 0, 2, create(file.data(), file.size()).release());
    hySetFieldByNumber(s.get(), 0, 0, f.release());
    return s;
}

}  // namespace matrix::host::internal

namespace matrix {

void host::define_class(std::string name, std::vector<std::string> bases,
                        std::vector<std::string> methods) {
    if (name.empty())
        throw HostError("define_class: empty class name");
    auto rec = std::make_unique<ClassRecord>();
    rec->class_name = std::move(name);
    rec->bases = std::move(bases);
    rec->methods = std::move(methods);
    Registry& r = registry();
    const std::lock_guard lock(r.mutex);
    r.all.push_back(std::move(rec));
    r.current[r.all.back()->class_name] = r.all.back().get();
}

unique_hyarray_ptr host::create_object(std::string_view class_name,
                                       std::span<const std::size_t> dims) {
    return make_object(hyOBJECT_CLASS, class_name, dims, false);
}

unique_hyarray_ptr host::create_opaque(std::string_view class_name,
                                       std::span<const std::size_t> dims) {
    return make_object(hyOPAQUE_CLASS, class_name, dims, false);
}

unique_hyarray_ptr host::create_object_deferred(std::string_view class_name,
                                                std::span<const std::size_t> dims) {
    return make_object(hyOBJECT_CLASS, class_name, dims, true);
}

bool host::is_class_defined(std::string_view name) {
    return lookup(name) != nullptr;
}

bool host::has_pending_dimensions(const hyArray* a) {
    return impl(a)->pending.load(std::memory_order_acquire);
}

unique_hyarray_ptr host::create_function_handle(unique_hyarray_ptr saved) {
    if (saved == nullptr || impl(saved.get())->cls != hySTRUCT_CLASS)
        throw HostError("create_function_handle: the saved value must be a struct");
    const std::size_t one[] = {1, 1};
    Owned a = make_array(hyFUNCTION_CLASS, hyREAL, false, one);
    a->block->saved = impl(saved.release());
    return wrap(std::move(a));
}

unique_hyarray_ptr find_method(const hyArray* a, std::string_view name) {
    const hyClassID c = class_id(a);
    if (c != hyOBJECT_CLASS && c != hyOPAQUE_CLASS)
        return nullptr;
    return hyGetInfo(a)->find_method(name);
}

}  // namespace matrix

const hyClassInfo* hyGetInfo(const hyArray* a) {
    const Array* x = impl(a);
    if (x->cls == hyOBJECT_CLASS || x->cls == hyOPAQUE_CLASS)
        return lookup(x->class_name);
    if (x->cls < hyCELL_CLASS || x->cls > hyFUNCTION_CLASS || x->cls == hyVOID_CLASS)
        return nullptr;
    static const auto* infos = [] {
        auto* v = new std::vector<BuiltinInfo>;
        for (int c = 0; c <= hyFUNCTION_CLASS; ++c)
            v->emplace_back(builtin_class_name(static_cast<hyClassID>(c)));
        return v;
    }();
    return &(*infos)[static_cast<std::size_t>(x->cls)];
}

bool hyIsA(const hyArray* a, const char* class_name) {
    if (class_name == nullptr || *class_name == '\0')
        return false;
    const hyClassInfo* info = hyGetInfo(a);
    return info != nullptr && info->is_a(class_name);
}

hyArray* hyFunctionHandleToSavedStruct(const hyArray* a) {
    const Array* x = impl(a);
    if (x->cls != hyFUNCTION_CLASS)
        throw HostError(
            std::string("hyFunctionHandleToSavedStruct: expected a function handle, got ") +
            hyGetClassName(a));
    return deep_copy(*x->block->saved).release();
}
