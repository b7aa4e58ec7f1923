// The commands on templates, behind those of commands.h. They throw WrongUse and Failure.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "common/arguments.h"
#include "recognise/command_parts.h"
#include "recognise/folder.h"
#include "recognise/page.h"
#include "recognise/templates.h"

namespace zelsr::examples {

// --templates, --votes, --band and --beam: of training.
extern const std::vector<std::string> kTemplateOptions;

// The arguments of train, with --templates; out: where the model goes.
void train_templates(const Arguments& arguments, const std::string& out);
// Those of test and of recognition.
void test_templates(const Arguments& arguments, const ModelFile& file);
void recognise_by_templates(const Arguments& arguments, const ModelFile& file);

// One row beside the statistical models': templates of the usual number, in floating point.
void add_template_row(PageContent& content, const FeatureKind& kind, std::span<const Recording> training,
                      std::span<const Recording> test, int threads);

}  // namespace zelsr::examples
