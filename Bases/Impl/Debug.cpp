// Reserved for the engine's diagnostics: a unit of the library's layout without code.
