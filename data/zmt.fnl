modern    modern.fnt
sans      sans.fnt
serif     serif.fnt
greek     greek.fnt
symbol    symbol.fnt
fixed     #fixed
