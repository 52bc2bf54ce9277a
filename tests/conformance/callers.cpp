// The public headers as callers write them, compiled once per language
// standard with every warning an error: const objects default-constructed
// without an initialiser, builders rendered and run through the base, the
// umbrella header alone. It runs, too: the texts must be the documented ones.
#include <vorn/vorn.h>

#include <cstdio>
#include <string>

namespace {

const CVORNCriterionItem kEmptyOperand;
const CVORNCriterion kEmptyCondition;
const CVORNNull kNullMarker;
const CVORNSelector kSelector;
const CVORNInserter kInserter;
const CVORNUpdater kUpdater;
const CVORNDeleter kDeleter;
const CVORNDroper kDroper;
const CVORNsqlstr kRaw;
const BatchInserter kBatch;

std::string render(const CVORNBase& statement) {
    return statement.toString();
}

int expect(const std::string& actual, const char* expected) {
    if (actual == expected) {
        return 0;
    }
    std::fprintf(stderr, "rendered \"%s\", expected \"%s\"\n", actual.c_str(), expected);
    return 1;
}

}  // namespace

int main() {
    int failures = 0;
    failures += expect(vornCount(kEmptyOperand).toString(), " count()");
    failures += expect(kEmptyCondition.toString(), "");
    failures += expect(static_cast<bool>(kNullMarker) ? "set" : "", "");
    failures += expect(render(kSelector), "select  *  from ");
    failures += expect(render(kInserter), "insert into )");
    failures += expect(render(kUpdater), "update ");
    failures += expect(render(kDeleter), "delete from ");
    failures += expect(render(kDroper), "drop ");
    failures += expect(render(kRaw), "");
    failures += expect(render(kBatch), "insert into  () values()");
    CVORNSelector selector;
    selector.table("t");
    selector.where(CVORNCriterion(kEmptyCondition) && (CVORNTable("t")["a"] == 1));
    failures += expect(render(selector), "select  *  from t where ((t.a=1))");
    return failures == 0 ? 0 : 1;
}
