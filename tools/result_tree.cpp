#include "tools/result_tree.h"

#include "output/files.h"
#include "tools/form_parts.h"

static FILE_FORM MakeForm(const char *name)
{
    FILE_FORM form{name, {}, false};
    // A file that neither knows stays empty.
    static_cast<void>(FillMeans(form) || FillTrials(form));
    return form;
}

const std::vector<FILE_FORM> &ResultForms()
{
    static const std::vector<FILE_FORM> forms = {
#define FORM_ROW(stream, name) MakeForm(name),
        RESULT_FILES(FORM_ROW)
#undef FORM_ROW
    };
    return forms;
}
