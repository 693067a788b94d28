# Gives a comment to members whose meaning is the same everywhere. Run with sed -E.

# Commands: help texts describe their options.
s|^    Flag |    /// A flag, described by its help text.\n&|
s|^    Option<|    /// An option, described by its help text.\n&|
s|^    Async<void> run\(\);|    /// Runs the command with the options as they are.\n&|
s|^    static const ManualText manual;|    /// The prose of the manual page.\n&|

# Specialisations of ArgumentConversion.
s/^    static (std::optional<.+> parse\(std::string_view|std::string text\(|ValueSyntax syntax\()/    \/\/\/ See ArgumentConversion.\n&/

# Copies, moves and comparisons.
s/^ +([A-Z][A-Za-z]+)\((const \1&|\1&&)( other)?\)/    \/\/\/ Copies or moves the value.\n&/
s/^ +([A-Z][A-Za-z]+)& operator=\((const \1&|\1&&|\1)( other)?\)/    \/\/\/ Copies or moves the value.\n&/
s/^    (\[\[nodiscard\]\] )?friend .*operator==/    \/\/\/ Compares the values.\n&/
