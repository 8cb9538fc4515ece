(() => {
    const all = () => document.querySelectorAll('details');
    const setAll = (open) => all().forEach((each) => {
        each.open = open;
    });
    document.getElementById('unfold').addEventListener('click', () => setAll(true));
    document.getElementById('fold').addEventListener('click', () => setAll(false));
    // On paper nothing can be unfolded.
    let before = [];
    addEventListener('beforeprint', () => {
        before = [...all()].map((each) => [each, each.open]);
        setAll(true);
    });
    addEventListener('afterprint', () => before.forEach(([each, open]) => {
        each.open = open;
    }));
    // A link to something folded unfolds what hides it.
    addEventListener('hashchange', () => {
        for (let each = document.getElementById(location.hash.slice(1)); each; each = each.parentElement)
            if (each.tagName === 'DETAILS') each.open = true;
    });
})();
